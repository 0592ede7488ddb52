#include "DataPaths.h"

#include "FileSystem.h"

namespace ostrelvan::DataPaths {

std::filesystem::path root(const Environment& environment) {
    if (auto custom = nonEmpty(environment, "OSTRELVAN_DATA_DIR"))
        return *custom;
    return FileSystem::userDataFolder(nonEmpty(environment, "HOME").value_or(""),
                                      nonEmpty(environment, "XDG_DATA_HOME").value_or("")) /
           "Ostrelvan";
}

std::filesystem::path sessions(const Environment& environment) {
    return root(environment) / "sessions";
}

std::filesystem::path helper(const Environment& environment) {
    return root(environment) / "bin" / "ostrelvan-hook";
}

} // namespace ostrelvan::DataPaths
