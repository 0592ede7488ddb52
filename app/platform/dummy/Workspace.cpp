#include "app/platform/Workspace.h"

// The workspace of no desktop in particular, for tests of shared code: the same answers on every
// host, and nothing on the machine is looked at. Tests link it in front of the real twin.
namespace ostrelvan::Workspace {

std::optional<Command> openInVSCode(const std::string& folder, const Environment&) {
    return Command{"code", folder};
}

Command openURL(const std::string& url) {
    return {"open-url", url};
}

Command openFolder(const std::string& folder) {
    return {"open-folder", folder};
}

std::optional<Command> activateApplication(const std::string&) {
    return std::nullopt;
}

const char* showInFileManagerTitle() {
    return "Show in File Manager";
}

bool findsTerminalWindows() {
    return false;
}

} // namespace ostrelvan::Workspace
