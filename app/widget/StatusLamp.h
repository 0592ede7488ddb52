#pragma once

#include "app/widget/StatusPalette.h"
#include "app/widget/WidgetLook.h"
#include "core/SessionStatus.h"

#include <QColor>
#include <QWidget>
#include <limits>
#include <optional>

namespace ostrelvan {

// One glossy status lamp. It is a small child widget of its own, so that an animating lamp
// repaints only its own rectangle. It is transparent for the mouse: the column and the rows that
// hold it take the pointer. No status is a placeholder lamp.
//
// Every animation is a function of the time it started, read from LampAnimator's clock when the
// lamp paints; the animator's one frame timer repaints the lamps that move. The status a lamp is
// given before it has first been painted is taken without animation: a new lamp does not pop.
class StatusLamp : public QWidget {
    Q_OBJECT
public:
    // The gem's diameter.
    static constexpr double size = 12;
    // The widget's side: room for the ripple, the highlight and pop scales and most of the glow,
    // which fades out before the edge.
    static constexpr int extent = 64;

    static constexpr double highlightScale = 1.25;
    static constexpr double rippleDuration = 1.8;
    static constexpr double rippleEndScale = 2.2;
    static constexpr double rippleStartOpacity = 0.45;
    static constexpr double colorFadeDuration = 0.3;
    static constexpr double popRiseDuration = 0.16;
    static constexpr double popFallDuration = 0.45;
    static constexpr double popPeak = 1.5;
    static constexpr double glowOpacity = 0.75;
    // The glow's blur radius (a Gaussian's standard deviation) in points.
    static constexpr double glowBlur = 4;
    static constexpr double highlightedGlowBlur = 6;

    // What the lamp shows at one moment.
    struct Frame {
        QColor color; // the gem's colour
        QColor glow;  // the glow's colour, clear when it does not glow
        double glowRadius = glowBlur;
        double scale = 1; // highlight × pop
        double popScale = 1;
        bool ripple = false;
        double rippleScale = 1;
        double rippleOpacity = 0;
    };

    explicit StatusLamp(QWidget* parent = nullptr);
    ~StatusLamp() override;

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

    // The picture at `now` on LampAnimator's clock.
    Frame frameAt(double now) const;
    // Whether anything still moves at `now`: a ripple, a fade, a pop or the highlight's spring.
    bool isAnimating(double now) const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    static constexpr double never = -std::numeric_limits<double>::infinity();

    double highlightAt(double now, double* velocity = nullptr) const;
    double popAt(double now, double* velocity = nullptr) const;
    void animateIfNeeded();

    std::optional<SessionStatus> status_;
    bool highlighted_ = false;
    WidgetLook look_;
    bool painted_ = false;

    // The colour fade: from the colours shown when the status changed.
    QColor fadeFromColor_;
    QColor fadeFromGlow_;
    double fadeStart_ = never;
    // The highlight's spring: from the scale and speed it had when `highlighted` changed.
    double highlightFrom_ = 1;
    double highlightVelocity_ = 0;
    double highlightStart_ = never;
    // The pop, from the factor and speed it had when it was triggered.
    double popFrom_ = 1;
    double popVelocity_ = 0;
    double popStart_ = never;
    double rippleStart_ = 0;
};

} // namespace ostrelvan
