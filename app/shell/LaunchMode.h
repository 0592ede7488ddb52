#pragma once

#include "base/Environment.h"

#include <string>
#include <vector>

namespace ostrelvan {

// How this run of the app starts: live, as a design preview, or hosted by a test runner, where
// the object graph is built and nothing is started.
struct LaunchMode {
    enum class Kind { designPreview, normal, tests };

    Kind kind = Kind::normal;
    std::string target; // the preview's name, lower-cased; only for designPreview

    // `arguments` as the process got them, the program path first.
    static LaunchMode current(const std::vector<std::string>& arguments,
                              const Environment& environment);

    bool operator==(const LaunchMode&) const = default;
};

} // namespace ostrelvan
