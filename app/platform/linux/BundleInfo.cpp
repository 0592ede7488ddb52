#include "app/platform/BundleInfo.h"

namespace ostrelvan::BundleInfos {

// No bundle and no build number: the version line shows the version alone, and the updater stays
// unconfigured, as it must where the package manager updates the app.
BundleInfo main() {
    return {{"CFBundleShortVersionString", OSTRELVAN_VERSION}};
}

} // namespace ostrelvan::BundleInfos
