#include "app/platform/FileManager.h"

#import <AppKit/AppKit.h>

namespace ostrelvan::FileManager {

void showItem(const std::string& path, std::optional<std::uint32_t>,
              std::function<void(bool shown)> done) {
    bool shown = false;
    @autoreleasepool {
        NSString* text = [NSString stringWithUTF8String:path.c_str()];
        if (text != nil) {
            NSURL* url = [NSURL fileURLWithPath:text isDirectory:YES];
            [[NSWorkspace sharedWorkspace] activateFileViewerSelectingURLs:@[ url ]];
            shown = true;
        }
    }
    done(shown);
}

} // namespace ostrelvan::FileManager
