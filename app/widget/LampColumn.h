#pragma once

#include "app/store/DisplayedSession.h"
#include "app/widget/WidgetActions.h"
#include "app/widget/WidgetLook.h"
#include "app/widgetmodel/WidgetMetrics.h"

#include <QPixmap>
#include <QWidget>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class QVariantAnimation;

namespace ostrelvan {

class StatusLamp;

// The always-visible column: one lamp per shown session at the centres the metrics give, a
// placeholder lamp when there is none, and a chevron when not every session has room. Its glass
// capsule is the root view's. Lamps are kept by session id, so a session whose status changes
// keeps its lamp and the lamp animates the change. To a screen reader the column is one element
// that reads the number of sessions; its lamps are hidden.
class LampColumn : public QWidget {
    Q_OBJECT
public:
    explicit LampColumn(const WidgetActions& actions, QWidget* parent = nullptr);
    ~LampColumn() override;

    // `sessions` in display order; `metrics` made from the same groups.
    void setSessions(const std::vector<DisplayedSession>& sessions, const WidgetMetrics& metrics);
    void setHoveredIndex(std::optional<int> index);
    void setLook(const WidgetLook& look);
    // Ends lamps' fades in and out and their own transitions.
    void finishTransitions();

    // The lamps in display order; with no sessions, the one placeholder lamp.
    std::vector<StatusLamp*> lamps() const;
    bool showsOverflow() const;
    // "1 Claude Code session", "N Claude Code sessions".
    static QString accessibleText(int sessionCount);

protected:
    void paintEvent(QPaintEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    struct Lamp {
        std::string id; // empty for the placeholder
        StatusLamp* lamp = nullptr;
    };
    // A lamp fading in (its widget hidden until the fade ends) or out (its widget already gone),
    // drawn from a picture of the lamp.
    struct Fade {
        QPixmap image;
        QPointF centre;
        double progress = 0;
        StatusLamp* lamp = nullptr;
        QVariantAnimation* animation = nullptr;
    };

    QPointF lampCentre(int index) const;
    QRectF chevronFrame() const;
    StatusLamp* makeLamp(std::optional<SessionStatus> status);
    void fadeIn(StatusLamp* lamp);
    void fadeOut(StatusLamp* lamp);
    void startFade(StatusLamp* lamp, bool appearing);
    void endFade(Fade* fade);
    QRect fadeBounds(const Fade& fade) const;
    void applyHighlight();

    const WidgetActions& actions_;
    WidgetMetrics metrics_;
    WidgetLook look_;
    std::optional<int> hoveredIndex_;
    std::vector<Lamp> lamps_;
    std::vector<std::unique_ptr<Fade>> fades_;
    int sessionCount_ = 0;
    bool populated_ = false;
};

} // namespace ostrelvan
