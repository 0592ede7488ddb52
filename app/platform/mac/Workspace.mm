#include "app/platform/Workspace.h"

#import <AppKit/AppKit.h>

namespace ostrelvan::Workspace {

namespace {

constexpr const char* openTool = "/usr/bin/open";

} // namespace

std::optional<Command> openInVSCode(const std::string& folder, const Environment&) {
    bool installed = false;
    @autoreleasepool {
        installed = [[NSWorkspace sharedWorkspace]
                        URLForApplicationWithBundleIdentifier:@"com.microsoft.VSCode"] != nil;
    }
    if (!installed)
        return std::nullopt;
    return Command{openTool, "-b", "com.microsoft.VSCode", folder};
}

Command openURL(const std::string& url) {
    return {openTool, url};
}

Command openFolder(const std::string& folder) {
    return {openTool, folder};
}

// `open -b` exits with a failure when no application has the identifier.
std::optional<Command> activateApplication(const std::string& bundleId) {
    return Command{openTool, "-b", bundleId};
}

const char* showInFileManagerTitle() {
    return "Show in Finder";
}

bool findsTerminalWindows() {
    return false;
}

} // namespace ostrelvan::Workspace
