#include "app/widget/LiveWidget.h"

#include "app/services/AppSettings.h"
#include "app/look/Compositor.h"
#include "app/services/Log.h"
#include "app/services/PermissionRequests.h"
#include "app/store/SessionStore.h"
#include "app/widget/WidgetLook.h"

namespace ostrelvan {

LiveWidget::LiveWidget(const WidgetContext& context)
    : store_(context.store), settings_(context.settings),
      controller_(feed_, context.actions, model_), compositor_(hasCompositor()) {
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
    feed_.setGroups(store_.groups());
    feed_.setRequests(context.requests.pending());
    feed_.setConnected(settings_.hooksConnected());
    applyLook();
    if (!compositor_)
        qCInfo(appLog) << "no compositing manager: the glass is drawn opaque";
}

void LiveWidget::applyLook() {
    controller_.setLook(widgetLook(desktop_.current(), settings_, compositor_),
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
