#include "app/widget/StatusLamp.h"

#include "app/widget/LampAnimator.h"
#include "app/widget/LampGlow.h"
#include "app/widget/Motion.h"

#include <QPainter>
#include <QRadialGradient>
#include <algorithm>
#include <cmath>
#include <vector>

namespace ostrelvan {

namespace {

constexpr Motion::Spring popRise = Motion::Spring::withBounce(0.5, 0.15);
constexpr Motion::Spring popFall = Motion::Spring::withBounce(0.5, 0.3);
constexpr double popDuration = StatusLamp::popRiseDuration + StatusLamp::popFallDuration;

double hoverSettlingTime() {
    static const double time = Motion::hoverSpring.settlingTime();
    return time;
}

QRadialGradient glowGradient(const QColor& color, double sigma, double reach) {
    const std::vector<double>& profile = LampGlow::profile(StatusLamp::size / 2, sigma, reach);
    QRadialGradient gradient(QPointF(0, 0), reach);
    const double last = double(profile.size() - 1);
    for (std::size_t i = 0; i < profile.size(); ++i) {
        QColor stop = color;
        stop.setAlphaF(float(color.alphaF() * profile[i]));
        gradient.setColorAt(double(i) / last, stop);
    }
    return gradient;
}

void paintGem(QPainter& painter, const QColor& color) {
    const double s = StatusLamp::size;
    const QRectF frame(-s / 2, -s / 2, s, s);
    painter.setPen(Qt::NoPen);

    painter.setBrush(color);
    painter.drawEllipse(frame);

    // Specular highlight, up and to the left of the middle.
    const QPointF light(frame.left() + 0.35 * s, frame.top() + 0.3 * s);
    QRadialGradient specular(light, 0.55 * s);
    specular.setColorAt(0, QColor::fromRgbF(1, 1, 1, 0.55f));
    specular.setColorAt(1, QColor::fromRgbF(1, 1, 1, 0));
    painter.setBrush(specular);
    painter.drawEllipse(frame);

    // Shading towards the lower right edge.
    QRadialGradient shade(light, 0.75 * s);
    shade.setColorAt(0, QColor::fromRgbF(0, 0, 0, 0));
    shade.setColorAt(0.3 / 0.75, QColor::fromRgbF(0, 0, 0, 0));
    shade.setColorAt(1, QColor::fromRgbF(0, 0, 0, 0.28f));
    painter.setBrush(shade);
    painter.drawEllipse(frame);

    // The glint.
    const QRectF glint(-0.28 * s, -0.18 * s - 0.2 * s, 0.56 * s, 0.36 * s);
    QLinearGradient glintFill(glint.topLeft(), glint.bottomLeft());
    glintFill.setColorAt(0, QColor::fromRgbF(1, 1, 1, 0.9f));
    glintFill.setColorAt(1, QColor::fromRgbF(1, 1, 1, 0));
    painter.setBrush(glintFill);
    painter.drawEllipse(glint);

    // The rim, inside the edge.
    constexpr double rimWidth = 0.5;
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(QColor::fromRgbF(1, 1, 1, 0.5f), rimWidth));
    painter.drawEllipse(frame.adjusted(rimWidth / 2, rimWidth / 2, -rimWidth / 2, -rimWidth / 2));
}

} // namespace

StatusLamp::StatusLamp(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_NoSystemBackground);
    setFixedSize(extent, extent);
}

StatusLamp::~StatusLamp() {
    LampAnimator::shared().remove(this);
}

void StatusLamp::setStatus(std::optional<SessionStatus> status) {
    if (status == status_)
        return;
    const double now = LampAnimator::shared().now();
    if (painted_ && !look_.reduceMotion) {
        const Frame shown = frameAt(now);
        fadeFromColor_ = shown.color;
        fadeFromGlow_ = shown.glow;
        fadeStart_ = now;
        popFrom_ = popAt(now, &popVelocity_);
        popStart_ = now;
    } else {
        fadeStart_ = never;
        popStart_ = never;
    }
    if (status == SessionStatus::working)
        rippleStart_ = now;
    status_ = status;
    animateIfNeeded();
    update();
}

void StatusLamp::setHighlighted(bool highlighted) {
    if (highlighted == highlighted_)
        return;
    const double now = LampAnimator::shared().now();
    if (painted_ && !look_.reduceMotion) {
        highlightFrom_ = highlightAt(now, &highlightVelocity_);
        highlightStart_ = now;
    } else {
        highlightStart_ = never;
    }
    highlighted_ = highlighted;
    animateIfNeeded();
    update();
}

void StatusLamp::setLook(const WidgetLook& look) {
    if (look == look_)
        return;
    const bool motionResumes = look_.reduceMotion && !look.reduceMotion;
    look_ = look;
    if (look_.reduceMotion)
        finishTransitions();
    if (motionResumes)
        rippleStart_ = LampAnimator::shared().now();
    animateIfNeeded();
    update();
}

void StatusLamp::placeCentredAt(QPointF centre) {
    move(qRound(centre.x() - extent / 2.0), qRound(centre.y() - extent / 2.0));
}

void StatusLamp::finishTransitions() {
    fadeStart_ = never;
    popStart_ = never;
    highlightStart_ = never;
    update();
}

double StatusLamp::highlightAt(double now, double* velocity) const {
    const double target = highlighted_ ? highlightScale : 1.0;
    const double elapsed = now - highlightStart_;
    if (velocity)
        *velocity = 0;
    if (elapsed >= hoverSettlingTime())
        return target;
    const Motion::Spring& spring = Motion::hoverSpring;
    const double from = highlightFrom_ - target;
    if (velocity)
        *velocity = spring.velocity(elapsed, from, highlightVelocity_);
    return target + spring.offset(elapsed, from, highlightVelocity_);
}

// Two spring keyframes, each cut off at its duration and handing its position and speed on.
double StatusLamp::popAt(double now, double* velocity) const {
    const double elapsed = now - popStart_;
    if (velocity)
        *velocity = 0;
    if (elapsed >= popDuration)
        return 1.0;
    const double peakFrom = popFrom_ - popPeak;
    if (elapsed < popRiseDuration) {
        if (velocity)
            *velocity = popRise.velocity(elapsed, peakFrom, popVelocity_);
        return popPeak + popRise.offset(elapsed, peakFrom, popVelocity_);
    }
    const double top = popPeak + popRise.offset(popRiseDuration, peakFrom, popVelocity_);
    const double topVelocity = popRise.velocity(popRiseDuration, peakFrom, popVelocity_);
    const double fall = elapsed - popRiseDuration;
    if (velocity)
        *velocity = popFall.velocity(fall, top - 1.0, topVelocity);
    return 1.0 + popFall.offset(fall, top - 1.0, topVelocity);
}

StatusLamp::Frame StatusLamp::frameAt(double now) const {
    Frame frame;
    frame.color = StatusPalette::color(status_);
    frame.glow = StatusPalette::glow(status_, glowOpacity);
    const double fade = (now - fadeStart_) / colorFadeDuration;
    if (fade < 1) {
        static const QEasingCurve curve = Motion::easeInOut();
        const double t = curve.valueForProgress(std::max(0.0, fade));
        frame.color = StatusPalette::mix(fadeFromColor_, frame.color, t);
        frame.glow = StatusPalette::mix(fadeFromGlow_, frame.glow, t);
    }

    const double highlight = highlightAt(now);
    frame.popScale = popAt(now);
    frame.scale = highlight * frame.popScale;
    // The glow's blur follows the highlight's spring from 4 to 6.
    const double highlightProgress = (highlight - 1.0) / (highlightScale - 1.0);
    frame.glowRadius = glowBlur + (highlightedGlowBlur - glowBlur) * highlightProgress;

    if (status_ == SessionStatus::working && !look_.reduceMotion) {
        static const QEasingCurve curve = Motion::easeOut();
        const double phase = std::fmod(now - rippleStart_, rippleDuration) / rippleDuration;
        const double t = curve.valueForProgress(phase < 0 ? phase + 1 : phase);
        frame.ripple = true;
        frame.rippleScale = 1 + (rippleEndScale - 1) * t;
        frame.rippleOpacity = rippleStartOpacity * (1 - t);
    }
    return frame;
}

bool StatusLamp::isAnimating(double now) const {
    if (status_ == SessionStatus::working && !look_.reduceMotion)
        return true;
    return now < fadeStart_ + colorFadeDuration || now < popStart_ + popDuration ||
           now < highlightStart_ + hoverSettlingTime();
}

void StatusLamp::animateIfNeeded() {
    LampAnimator& animator = LampAnimator::shared();
    if (isVisible() && isAnimating(animator.now()))
        animator.add(this);
}

void StatusLamp::showEvent(QShowEvent*) {
    animateIfNeeded();
}

void StatusLamp::hideEvent(QHideEvent*) {
    LampAnimator::shared().remove(this);
}

void StatusLamp::paintEvent(QPaintEvent*) {
    painted_ = true;
    const Frame frame = frameAt(LampAnimator::shared().now());
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(extent / 2.0, extent / 2.0);
    painter.scale(frame.scale, frame.scale);
    painter.setPen(Qt::NoPen);

    if (frame.glow.alpha() > 0) {
        const double edge = extent / 2.0 / frame.scale;
        const double reach = std::min(edge, size / 2 + 3 * frame.glowRadius);
        painter.setBrush(glowGradient(frame.glow, frame.glowRadius, reach));
        painter.drawEllipse(QPointF(0, 0), reach, reach);
    }
    if (frame.ripple && frame.rippleOpacity > 0) {
        QColor ripple = frame.color;
        ripple.setAlphaF(float(ripple.alphaF() * frame.rippleOpacity));
        painter.setBrush(ripple);
        const double r = size / 2 * frame.rippleScale;
        painter.drawEllipse(QPointF(0, 0), r, r);
    }
    paintGem(painter, frame.color);
}

} // namespace ostrelvan
