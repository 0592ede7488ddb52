#pragma once

#include "app/widget/WidgetActions.h"
#include "app/widget/WidgetFeed.h"
#include "app/widget/WidgetLook.h"
#include "app/widget/WidgetModel.h"
#include "app/widgetmodel/PointerTracker.h"

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QRect>
#include <QRegion>
#include <QTimer>
#include <memory>
#include <optional>

class QScreen;

namespace ostrelvan {

class WidgetPanel;
class WidgetRootView;

// Owns the widget's window and canvas and is the only writer of the model: it places the window at
// the right edge of the primary screen (again whenever the screens change), polls the pointer,
// opens and closes the panel on hover after its delays, pins it open or presents it on request,
// and scrolls the list. The decisions are PointerTracker's; this class gives it the time and the
// pointer and copies its state into the model.
class WidgetPanelController : public QObject {
    Q_OBJECT
public:
    WidgetPanelController(WidgetFeed& feed, WidgetActions actions, WidgetModel& model,
                          QObject* parent = nullptr);
    ~WidgetPanelController() override;

    // Places and shows the window. A canvas height pins the canvas to that height on every
    // screen; none follows the screen's available height.
    void show(bool pinnedExpanded, bool watchPointer, std::optional<double> canvasHeight = {});
    void setPinnedOpen(bool open);
    // Opens the panel until the pointer has come and gone, or for a few seconds if it never
    // comes (see PointerTracker::present).
    void present();
    void collapse();
    // The canvas is drawn with `look`, and where the look says that a blur lies behind the glass,
    // the window server is asked to blur behind the glass by the user's `glassBlur` (rounded).
    void setLook(const WidgetLook& look, double glassBlur = 0);

    WidgetPanel& panel() { return *panel_; }
    WidgetRootView& rootView() { return *rootView_; }
    // Where the window was last placed, in the screen's coordinates (y down).
    QRect placement() const { return placement_; }

    // The canvas's frame on a screen whose available area is `available` (y down): at its right
    // edge, centred vertically, halves rounded away from zero.
    static QRect placement(const QRect& available, std::optional<double> canvasHeight);
    // A global pointer position in the canvas's own space (y up).
    static CanvasPoint canvasPoint(QPoint global, const QRect& placement);

private:
    WidgetMetrics metrics() const;
    CanvasPoint pointer() const;
    double now() const;
    void evaluatePointer();
    void pointerCrossed(PointerCrossing crossing);
    void updatePointerTask();
    bool scroll(double delta);
    void hoverDelayElapsed();
    void reposition();
    void followPrimaryScreen();
    // Copies the tracker's state into the model and arms the hover delay and the window's mask.
    void apply();
    void updateMask();
    void applyBlur();
    // The column's capsule and, while its area is in the mask, the panel's rounded rectangle, in
    // the window's coordinates.
    QRegion glassRegion() const;

    WidgetFeed& feed_;
    WidgetModel& model_;
    std::unique_ptr<WidgetPanel> panel_;
    WidgetRootView* rootView_ = nullptr;
    PointerTracker tracker_;
    QElapsedTimer clock_;
    QTimer pointerTask_;
    QTimer hoverTask_;
    std::optional<double> armedDeadline_;
    // Keeps the open panel's area in the mask while the panel's exit transition plays.
    QTimer maskShrink_;
    bool maskExpanded_ = false;
    std::optional<double> fixedCanvasHeight_;
    QRect placement_;
    QPointer<QScreen> screen_;
    bool shown_ = false;
    int blurRadius_ = 0;
    std::optional<int> appliedBlur_;
    QRegion appliedBlurRegion_;
};

} // namespace ostrelvan
