#include "StatusLamp.h"

#include "GlassColor.h"

#include <QPainter>

namespace ostrelvan {

bool StatusPalette::glows(std::optional<SessionStatus> status) {
    return status && *status != SessionStatus::idle;
}

QColor StatusPalette::color(std::optional<SessionStatus> status) {
    if (!status) {
        QColor placeholder = GlassColor::idleLamp();
        placeholder.setAlphaF(0.6f);
        return placeholder;
    }
    switch (*status) {
    case SessionStatus::working:
        return GlassColor::success();
    case SessionStatus::needsApproval:
    case SessionStatus::awaitingReview:
        return GlassColor::attention();
    case SessionStatus::idle:
        break;
    }
    return GlassColor::idleLamp();
}

StatusLamp::StatusLamp(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_TranslucentBackground);
    setFixedSize(extent, extent);
}

void StatusLamp::setStatus(std::optional<SessionStatus> status) {
    if (status == status_)
        return;
    status_ = status;
    update();
}

void StatusLamp::setHighlighted(bool highlighted) {
    if (highlighted == highlighted_)
        return;
    highlighted_ = highlighted;
    update();
}

void StatusLamp::setLook(const WidgetLook& look) {
    if (look == look_)
        return;
    look_ = look;
    update();
}

void StatusLamp::placeCentredAt(QPointF centre) {
    move(qRound(centre.x() - extent / 2.0), qRound(centre.y() - extent / 2.0));
}

void StatusLamp::finishTransitions() {}

// Placeholder until the gem lands: a flat disc, larger when highlighted.
void StatusLamp::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const double diameter = size * (highlighted_ ? 1.25 : 1.0);
    painter.setPen(Qt::NoPen);
    painter.setBrush(StatusPalette::color(status_));
    painter.drawEllipse(
        QRectF(extent / 2.0 - diameter / 2, extent / 2.0 - diameter / 2, diameter, diameter));
}

} // namespace ostrelvan
