#include "cli/ConnectCommand.h"

#include "app/integration/HelperInstaller.h"
#include "app/integration/HookConnection.h"
#include "cli/FailureText.h"

#include <ostream>

namespace ostrelvan::cli {

namespace fs = std::filesystem;

namespace {

HookPaths pathsOf(const CommandContext& context) {
    const UserFolders folders = context.folders();
    return {folders.claudeSettings(), folders.helper(),
            HelperInstaller::bundledHelper(context.executableDirectory)};
}

void describe(const ConnectReport& report, const HookPaths& paths, std::ostream& out) {
    if (!report.helperChanged)
        out << "The hook helper at " << paths.helper.string() << " is up to date.\n";
    else if (report.helperExisted)
        out << "Updated the hook helper at " << paths.helper.string() << ".\n";
    else
        out << "Installed the hook helper at " << paths.helper.string() << ".\n";
    const auto& write = report.settingsWrite;
    if (!write) {
        out << "Ostrelvan's hook entries in " << paths.settingsFile.string()
            << " are in place already, so nothing was changed.\n";
        return;
    }
    if (write->backup)
        out << "Backed up the previous settings to " << write->backup->string() << ".\n";
    else
        out << "There was no settings file, so no backup was made.\n";
    out << "Wrote Ostrelvan's hook entries to " << write->file.string() << ".\n";
}

} // namespace

int connect(CommandContext& context) {
    const HookPaths paths = pathsOf(context);
    try {
        const ConnectReport report = HookConnection::connect(paths);
        context.settings.setHooksConnected(true);
        describe(report, paths, context.out);
        context.out << "Connected to Claude Code.\n";
    } catch (const std::exception& error) {
        context.err << FailureText::inWords(error) << "\n";
        return 1;
    }
    return 0;
}

int disconnect(CommandContext& context) {
    const HookPaths paths = pathsOf(context);
    try {
        const auto write = HookConnection::disconnect(paths);
        context.settings.setHooksConnected(false);
        if (write) {
            context.out << "Removed Ostrelvan's hook entries from " << write->file.string()
                        << ".\n";
            if (write->backup)
                context.out << "Backed up the previous settings to " << write->backup->string()
                            << ".\n";
        } else {
            context.out << "There were no Ostrelvan hook entries in " << paths.settingsFile.string()
                        << ", so nothing was changed.\n";
        }
        context.out << "The hook helper stays at " << paths.helper.string() << ".\n";
    } catch (const std::exception& error) {
        context.err << FailureText::inWords(error) << "\n";
        return 1;
    }
    return 0;
}

void repairHooksIfNeeded(CommandContext& context) {
    if (!context.settings.hooksConnected())
        return;
    const HookPaths paths = pathsOf(context);
    // An updated ostrelvan brings an updated helper; the entries run the installed copy.
    try {
        HelperInstaller::refresh(paths.bundledHelper, paths.helper);
    } catch (const std::exception& error) {
        context.err << "hooks: helper refresh failed: " << FailureText::inWords(error) << "\n";
    }
    const HookHealth health = HookConnection::health(paths);
    if (health == HookHealth::intact || health == HookHealth::unreadable)
        return;
    context.err << "hooks: repairing hook entries\n";
    try {
        HookConnection::connect(paths);
        context.settings.setHooksConnected(true);
        context.err << "hooks: connected\n";
    } catch (const std::exception& error) {
        context.err << "hooks: connect failed: " << FailureText::inWords(error) << "\n";
    }
}

std::optional<std::string> connectionNotice(const CommandContext& context) {
    if (!context.settings.hooksConnected())
        return "Not connected to Claude Code (run `ostrelvan connect`).";
    const HookPaths paths = pathsOf(context);
    const std::string file = paths.settingsFile.string();
    switch (HookConnection::health(paths)) {
    case HookHealth::intact:
        return std::nullopt;
    case HookHealth::missing:
        return "Warning: Ostrelvan's hook entries are missing from " + file +
               ", so sessions are not tracked; run `ostrelvan connect` to restore them.";
    case HookHealth::broken:
        return "Warning: Ostrelvan's hook entries in " + file +
               " are incomplete, doubled or run another helper; run `ostrelvan connect` to repair "
               "them.";
    case HookHealth::unreadable:
        try {
            HookInstaller::readSettings(paths.settingsFile);
        } catch (const std::exception& error) {
            return "Warning: cannot check Ostrelvan's hook entries: " + FailureText::inWords(error);
        }
        return "Warning: cannot check Ostrelvan's hook entries in " + file + ".";
    }
    return std::nullopt;
}

} // namespace ostrelvan::cli
