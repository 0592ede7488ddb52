#pragma once

#include "core/SessionStatus.h"

#include <QColor>
#include <optional>

// The lamps' colours: which status shows which colour, and how a glow and a change of colour
// are mixed. No status is a placeholder lamp.
namespace ostrelvan::StatusPalette {

// Working, waiting and review lamps glow; idle and placeholder lamps do not.
bool glows(std::optional<SessionStatus> status);
QColor color(std::optional<SessionStatus> status);
// The glow's colour at `opacity`, clear for a lamp that does not glow.
QColor glow(std::optional<SessionStatus> status, double opacity);
// From `from` at 0 to `to` at 1, alpha included.
QColor mix(const QColor& from, const QColor& to, double t);

} // namespace ostrelvan::StatusPalette
