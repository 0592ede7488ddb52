#pragma once

#include <QColor>
#include <QIcon>
#include <QImage>

namespace ostrelvan {

// The tray / menu-bar glyph: a ring around a small filled circle. It brings its own background
// (a white glyph on a disk in the brand colour) so it reads on light and dark panels alike; as a
// template image (macOS) it is plain black and the menu bar tints it. While some session needs
// the user, an orange dot sits in its corner.
namespace TrayIconArt {

enum class Style { contrasted, templateImage };

QImage image(int size, bool needsAttention, Style style);

// Every size a panel is likely to ask for. A template icon is marked as a mask; a needing-
// attention icon never is, since a template cannot carry colour.
QIcon icon(bool needsAttention, Style style);

} // namespace TrayIconArt

} // namespace ostrelvan
