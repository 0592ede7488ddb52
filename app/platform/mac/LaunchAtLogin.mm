#include "app/platform/LaunchAtLogin.h"

#import <ServiceManagement/ServiceManagement.h>
#include <stdexcept>

namespace ostrelvan::LaunchAtLogin {

// The environment and the executable are Linux's business: the main-app service is the bundle.
bool isEnabled(const Environment&) {
    return SMAppService.mainAppService.status == SMAppServiceStatusEnabled;
}

void set(bool enabled, const Environment&, const std::filesystem::path&) {
    NSError* error = nil;
    SMAppService* service = SMAppService.mainAppService;
    const BOOL done = enabled ? [service registerAndReturnError:&error]
                              : [service unregisterAndReturnError:&error];
    if (!done) {
        throw std::runtime_error(error != nil ? error.localizedDescription.UTF8String
                                              : "the login item service refused");
    }
}

} // namespace ostrelvan::LaunchAtLogin
