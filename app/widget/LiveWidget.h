#pragma once

#include "app/look/Compositor.h"
#include "app/look/DesktopPreferencesMonitor.h"
#include "app/widget/WidgetFeed.h"
#include "app/widget/WidgetHost.h"
#include "app/widget/WidgetModel.h"
#include "app/widget/WidgetPanelController.h"

namespace ostrelvan {

// The widget as the application drives it: the panel controller over a feed that follows the
// store's groups and the hooks' connection, drawn with the desktop's look and the user's glass,
// and following the compositing manager and its blur as they come and go.
class LiveWidget : public WidgetHost {
public:
    explicit LiveWidget(const WidgetContext& context);

    void show() override;
    void setPinnedOpen(bool pinned) override;
    void present() override;
    void collapse() override;

private:
    void applyLook();

    SessionStore& store_;
    AppSettings& settings_;
    WidgetFeed feed_;
    WidgetModel model_;
    WidgetPanelController controller_;
    DesktopPreferencesMonitor desktop_;
    CompositorMonitor compositor_;
};

} // namespace ostrelvan
