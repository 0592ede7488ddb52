#pragma once

#include "SessionStatus.h"
#include "WidgetLook.h"

#include <QWidget>
#include <optional>

namespace ostrelvan {

namespace StatusPalette {
// Working, waiting and review lamps glow; idle and placeholder lamps do not.
bool glows(std::optional<SessionStatus> status);
QColor color(std::optional<SessionStatus> status);
} // namespace StatusPalette

// One glossy status lamp. It is a small child widget of its own, so that an animating lamp
// repaints only its own rectangle. It is transparent for the mouse: the column and the rows that
// hold it take the pointer. No status is a placeholder lamp.
class StatusLamp : public QWidget {
    Q_OBJECT
public:
    // The gem's diameter.
    static constexpr double size = 12;
    // The widget's side: room for the ripple, the highlight and pop scales and the glow.
    static constexpr int extent = 44;

    explicit StatusLamp(QWidget* parent = nullptr);

    std::optional<SessionStatus> status() const { return status_; }
    bool isHighlighted() const { return highlighted_; }
    const WidgetLook& look() const { return look_; }

    // A change of status cross-fades the colour and pops the lamp, unless motion is reduced.
    void setStatus(std::optional<SessionStatus> status);
    void setHighlighted(bool highlighted);
    void setLook(const WidgetLook& look);
    // Moves the widget so that the gem's centre is at `centre` in the parent's coordinates.
    void placeCentredAt(QPointF centre);
    // Jumps every running transition to its end (the ripple keeps running), for screenshots.
    void finishTransitions();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    std::optional<SessionStatus> status_;
    bool highlighted_ = false;
    WidgetLook look_;
};

} // namespace ostrelvan
