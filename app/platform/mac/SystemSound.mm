#include "app/platform/SystemSound.h"

#import <AppKit/AppKit.h>

namespace ostrelvan::SystemSound {

std::optional<std::string> play(Cue cue) {
    NSString* name = cue == Cue::approval ? @"Glass" : @"Tink";
    NSSound* sound = [NSSound soundNamed:name];
    if (sound == nil) {
        return std::string("no system sound named ") + name.UTF8String;
    }
    [sound stop]; // a sound still playing from the last cue would refuse to start again
    if (![sound play]) {
        return std::string("cannot play the system sound ") + name.UTF8String;
    }
    return std::nullopt;
}

} // namespace ostrelvan::SystemSound
