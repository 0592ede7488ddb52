#include "core/DataPaths.h"

#include "base/FileSystem.h"
#include "core/HookLogLine.h"

namespace ostrelvan::DataPaths {

std::filesystem::path root(const Environment& environment) {
    if (auto custom = nonEmpty(environment, "OSTRELVAN_DATA_DIR"))
        return *custom;
    return FileSystem::userDataFolder(nonEmpty(environment, "HOME").value_or(""),
                                      nonEmpty(environment, "XDG_DATA_HOME").value_or("")) /
           "Ostrelvan";
}

std::filesystem::path sessions(const Environment& environment) {
    return sessions(root(environment));
}

std::filesystem::path helper(const Environment& environment) {
    return helper(root(environment));
}

std::filesystem::path sessions(const std::filesystem::path& root) {
    return root / "sessions";
}

std::filesystem::path helper(const std::filesystem::path& root) {
    return root / "bin" / "ostrelvan-hook";
}

std::filesystem::path permissionSocket(const std::filesystem::path& root) {
    return root / "permission.sock";
}

std::filesystem::path hookLog(const std::filesystem::path& root) {
    return root / HookLogLine::fileName;
}

} // namespace ostrelvan::DataPaths
