#pragma once

#include "TestSupport.h"

#include <sstream>

namespace ostrelvan::test {

// A data root in a temporary folder, for the real helper.
struct HookFixture {
    TempDir temp;

    Path root() const { return temp / "data"; }
    Path sessions() const { return root() / "sessions"; }
    Variables environment(const Variables& extra = {}) const {
        Variables variables{{"OSTRELVAN_DATA_DIR", root().string()}, {"PATH", "/usr/bin:/bin"}};
        variables.insert(extra.begin(), extra.end());
        return variables;
    }
    Outcome run(const std::string& input, const Variables& extra = {}) const {
        return test::run({OSTRELVAN_HOOK_PATH}, environment(extra), input);
    }
    // The helper's log without the time that starts each line.
    std::string logged() const {
        std::istringstream log(readText(root() / "hook.log"));
        std::string messages;
        for (std::string line; std::getline(log, line);)
            messages += line.substr(line.find(' ') + 1) + "\n";
        return messages;
    }
};

} // namespace ostrelvan::test
