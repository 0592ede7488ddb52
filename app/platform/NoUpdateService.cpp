#include "app/platform/UpdateService.h"

namespace ostrelvan::UpdateServices {

// Builds without an updater: Linux, where the package manager updates the app, and macOS built
// without Sparkle.
std::unique_ptr<UpdateService> make(const std::optional<std::string>&) {
    return nullptr;
}

} // namespace ostrelvan::UpdateServices
