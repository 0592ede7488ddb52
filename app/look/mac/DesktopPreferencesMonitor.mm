#include "app/look/DesktopPreferencesMonitor.h"

#import <AppKit/AppKit.h>

namespace ostrelvan {

struct DesktopPreferencesMonitor::Native {
    id accessibility = nil;
    id theme = nil;
    // Cleared when the monitor goes, for a refresh that was already queued.
    std::shared_ptr<bool> alive = std::make_shared<bool>(true);
};

DesktopPreferences DesktopPreferencesMonitor::read() {
    DesktopPreferences preferences;
    NSWorkspace* workspace = [NSWorkspace sharedWorkspace];
    preferences.reduceMotion = workspace.accessibilityDisplayShouldReduceMotion;
    preferences.reduceTransparency = workspace.accessibilityDisplayShouldReduceTransparency;
    NSAppearance* appearance =
        NSApp ? NSApp.effectiveAppearance : [NSAppearance currentDrawingAppearance];
    NSAppearanceName match = [appearance
        bestMatchFromAppearancesWithNames:@[ NSAppearanceNameAqua, NSAppearanceNameDarkAqua ]];
    preferences.dark = [match isEqualToString:NSAppearanceNameDarkAqua];
    return preferences;
}

DesktopPreferencesMonitor::DesktopPreferencesMonitor(QObject* parent)
    : QObject(parent), current_(read()), native_(std::make_unique<Native>()) {
    NSOperationQueue* main = [NSOperationQueue mainQueue];
    native_->accessibility = [[NSWorkspace sharedWorkspace].notificationCenter
        addObserverForName:NSWorkspaceAccessibilityDisplayOptionsDidChangeNotification
                    object:nil
                     queue:main
                usingBlock:^(NSNotification*) {
                  refresh();
                }];
    // Sent when the user switches between light and dark; the app's appearance follows a moment
    // later, so it is read on the next turn of the main queue.
    std::shared_ptr<bool> alive = native_->alive;
    native_->theme = [[NSDistributedNotificationCenter defaultCenter]
        addObserverForName:@"AppleInterfaceThemeChangedNotification"
                    object:nil
                     queue:main
                usingBlock:^(NSNotification*) {
                  dispatch_async(dispatch_get_main_queue(), ^{
                    if (*alive)
                        refresh();
                  });
                }];
}

DesktopPreferencesMonitor::~DesktopPreferencesMonitor() {
    *native_->alive = false;
    [[NSWorkspace sharedWorkspace].notificationCenter removeObserver:native_->accessibility];
    [[NSDistributedNotificationCenter defaultCenter] removeObserver:native_->theme];
}

} // namespace ostrelvan
