#include "app/platform/Relaunch.h"

namespace ostrelvan::Relaunch {

// The executable is Ostrelvan.app/Contents/MacOS/Ostrelvan: the bundle is opened again as a whole,
// so the arguments are not passed on.
Command command(std::int64_t pid, const std::filesystem::path& executable,
                const std::vector<std::string>&) {
    const std::filesystem::path bundle = executable.parent_path().parent_path().parent_path();
    return {"/bin/sh", "-c",
            "while /bin/kill -0 \"$1\" 2>/dev/null; do /bin/sleep 0.2; done; /usr/bin/open \"$0\"",
            bundle.string(), std::to_string(pid)};
}

} // namespace ostrelvan::Relaunch
