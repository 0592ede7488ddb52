#include "app/widget/StatusPalette.h"

#include "app/widget/GlassColor.h"

namespace ostrelvan::StatusPalette {

bool glows(std::optional<SessionStatus> status) {
    return status && *status != SessionStatus::idle;
}

QColor color(std::optional<SessionStatus> status) {
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

QColor glow(std::optional<SessionStatus> status, double opacity) {
    QColor result = color(status);
    result.setAlphaF(glows(status) ? float(opacity) : 0.0f);
    return result;
}

QColor mix(const QColor& from, const QColor& to, double t) {
    const auto lerp = [t](float a, float b) { return float(a + (b - a) * t); };
    return QColor::fromRgbF(lerp(from.redF(), to.redF()), lerp(from.greenF(), to.greenF()),
                            lerp(from.blueF(), to.blueF()), lerp(from.alphaF(), to.alphaF()));
}

} // namespace ostrelvan::StatusPalette
