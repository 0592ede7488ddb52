#include "app/shell/LaunchMode.h"

#include <algorithm>
#include <cctype>

namespace ostrelvan {

LaunchMode LaunchMode::current(const std::vector<std::string>& arguments,
                               const Environment& environment) {
    if (environment.contains("XCTestConfigurationFilePath") ||
        environment.contains("XCTestBundlePath")) {
        return {Kind::tests, {}};
    }
    const auto flag = std::find(arguments.begin(), arguments.end(), "--design-preview");
    if (flag == arguments.end()) {
        return {Kind::normal, {}};
    }
    std::string target = std::next(flag) == arguments.end() ? std::string() : *std::next(flag);
    std::transform(target.begin(), target.end(), target.begin(),
                   [](unsigned char c) { return char(std::tolower(c)); });
    return {Kind::designPreview, target};
}

} // namespace ostrelvan
