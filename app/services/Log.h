#pragma once

#include <QLoggingCategory>

namespace ostrelvan {

// The app's log categories. Qt writes them to the unified log on macOS and to the journal or
// standard error on Linux. Errors go out as warnings, everything else as info.
Q_DECLARE_LOGGING_CATEGORY(appLog)         // "app": start-up, sounds, updates, restart, login item
Q_DECLARE_LOGGING_CATEGORY(sessionsLog)    // "sessions": defined by the session store
Q_DECLARE_LOGGING_CATEGORY(uiLog)          // "ui": windows, the tray, opening sessions
Q_DECLARE_LOGGING_CATEGORY(hooksLog)       // "hooks": the helper and Claude Code's hook entries
Q_DECLARE_LOGGING_CATEGORY(permissionsLog) // "permissions": requests answered from the app

} // namespace ostrelvan
