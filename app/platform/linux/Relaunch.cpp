#include "app/platform/Relaunch.h"

namespace ostrelvan::Relaunch {

Command command(std::int64_t pid, const std::filesystem::path& executable,
                const std::vector<std::string>& arguments) {
    // $0 is the executable, $1 the old process, the rest its arguments.
    Command result{
        "/bin/sh", "-c",
        "while kill -0 \"$1\" 2>/dev/null; do sleep 0.2; done; shift; exec \"$0\" \"$@\"",
        executable.string(), std::to_string(pid)};
    result.insert(result.end(), arguments.begin(), arguments.end());
    return result;
}

} // namespace ostrelvan::Relaunch
