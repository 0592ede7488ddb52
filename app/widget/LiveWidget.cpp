#include "app/widget/LiveWidget.h"

#include "app/look/Compositor.h"
#include "app/services/AppSettings.h"
#include "app/services/Log.h"
#include "app/services/PermissionRequests.h"
#include "app/store/SessionStore.h"
#include "app/widget/WidgetLook.h"

namespace ostrelvan {

LiveWidget::LiveWidget(const WidgetContext& context)
    : store_(context.store), settings_(context.settings),
      controller_(feed_, context.actions, model_) {
    QObject::connect(&store_, &SessionStore::groupsChanged, &feed_,
                     [this] { feed_.setGroups(store_.groups()); });
    QObject::connect(&settings_, &AppSettings::changed, &feed_, [this] {
        feed_.setConnected(settings_.hooksConnected());
        applyLook();
    });
    QObject::connect(&desktop_, &DesktopPreferencesMonitor::changed, &feed_,
                     [this] { applyLook(); });
    QObject::connect(
        &context.requests, &PermissionRequests::pendingChanged, &feed_,
        [this, &requests = context.requests] { feed_.setRequests(requests.pending()); });
    QObject::connect(&compositor_, &CompositorMonitor::changed, &feed_, [this] {
        qCInfo(appLog).nospace() << "compositing " << (compositor_.compositing() ? "on" : "off")
                                 << ", blur behind windows "
                                 << (compositor_.blur() ? "available" : "unavailable");
        applyLook();
    });
    feed_.setGroups(store_.groups());
    feed_.setRequests(context.requests.pending());
    feed_.setConnected(settings_.hooksConnected());
    applyLook();
    if (!compositor_.compositing())
        qCInfo(appLog) << "no compositing manager: the glass is drawn opaque";
    else if (!compositor_.blur())
        qCInfo(appLog) << "no blur behind windows: the glass is drawn nearly opaque";
}

void LiveWidget::applyLook() {
    controller_.setLook(
        widgetLook(desktop_.current(), settings_, {compositor_.compositing(), compositor_.blur()}),
        settings_.glassBlur());
}

void LiveWidget::show() {
    controller_.show(false, true);
}

void LiveWidget::setPinnedOpen(bool pinned) {
    controller_.setPinnedOpen(pinned);
}

void LiveWidget::present() {
    controller_.present();
}

void LiveWidget::collapse() {
    controller_.collapse();
}

} // namespace ostrelvan
