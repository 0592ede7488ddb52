#pragma once

#include <map>
#include <string>

namespace ostrelvan {

// The app's information dictionary, string values only: the bundle's Info.plist on macOS; on
// Linux, where there is no bundle, the version the program was built with.
using BundleInfo = std::map<std::string, std::string, std::less<>>;

namespace BundleInfos {
BundleInfo main();
} // namespace BundleInfos

} // namespace ostrelvan
