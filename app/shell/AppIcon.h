#pragma once

#include <QIcon>
#include <QImage>

// The application's icon, drawn here as resources/ostrelvan.svg draws it (a white ring around an
// orange lamp on a rounded tile in the brand's teal), so that windows carry it without an SVG
// reader. The desktop entry and the package use the SVG itself.
namespace ostrelvan::AppIcon {

// The desktop entry the windows belong to: its file name without ".desktop".
inline constexpr const char* desktopEntry = "ostrelvan";

QImage image(int size);
// The sizes window managers and task bars ask for, none so large that the window's icon
// property outgrows a request.
QIcon icon();

// Gives every window of the application the icon, and the desktop entry's name, by which
// GNOME and KDE match windows to the entry.
void applyToApplication();

} // namespace ostrelvan::AppIcon
