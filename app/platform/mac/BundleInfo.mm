#include "app/platform/BundleInfo.h"

#import <Foundation/Foundation.h>

namespace ostrelvan::BundleInfos {

// Only the string values: every key the app reads (versions, feed, public key) is one.
BundleInfo main() {
    BundleInfo info;
    NSDictionary* dictionary = NSBundle.mainBundle.infoDictionary;
    for (id key in dictionary) {
        id value = dictionary[key];
        if ([key isKindOfClass:NSString.class] && [value isKindOfClass:NSString.class]) {
            info.emplace(((NSString*)key).UTF8String, ((NSString*)value).UTF8String);
        }
    }
    return info;
}

} // namespace ostrelvan::BundleInfos
