#pragma once

#include "app/platform/Command.h"
#include "base/Environment.h"

#include <optional>
#include <string>

// The desktop's own ways to open things, as commands to run. Each is started without a shell.
namespace ostrelvan::Workspace {

// Opens `folder` in VS Code, reusing the window that already shows it; none when VS Code is not
// installed. Linux: the `code` command on PATH, else VS Code's desktop entry.
std::optional<Command> openInVSCode(const std::string& folder, const Environment& environment);

// Opens a link with the application the desktop has for its scheme.
Command openURL(const std::string& url);

// Opens a folder with the desktop's handler for folders (the file manager, usually).
Command openFolder(const std::string& folder);

// Launches or brings forward an application known by its bundle identifier; none where the
// system has no such identifiers (Linux).
std::optional<Command> activateApplication(const std::string& bundleId);

// The menu entry that shows a session's folder: "Show in File Manager" ("Show in Finder" on macOS).
const char* showInFileManagerTitle();

// Whether a terminal session is sought through its process tree, its tmux pane and the window
// system before anything else (Linux, where terminals seldom say who they are).
bool findsTerminalWindows();

} // namespace ostrelvan::Workspace
