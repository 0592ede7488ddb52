#pragma once

#include "TestSupport.h"

namespace ostrelvan::test {

// A data root in a temporary folder, for the real helper.
struct HookFixture {
    TempDir temp;

    Path root() const { return temp / "data"; }
    Path sessions() const { return root() / "sessions"; }
    Variables environment() const {
        return {{"OSTRELVAN_DATA_DIR", root().string()}, {"PATH", "/usr/bin:/bin"}};
    }
    Outcome run(const std::string& input, const Variables& extra = {}) const {
        Variables variables = environment();
        variables.insert(extra.begin(), extra.end());
        return test::run({OSTRELVAN_HOOK_PATH}, variables, input);
    }
};

} // namespace ostrelvan::test
