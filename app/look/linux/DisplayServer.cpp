#include "app/look/DisplayServer.h"

#include <cstdlib>

namespace ostrelvan::DisplayServer {

void preferXcbOnWayland() {
    if (const auto platform = preferredPlatform(processEnvironment()))
        ::setenv("QT_QPA_PLATFORM", platform->c_str(), 1);
}

} // namespace ostrelvan::DisplayServer
