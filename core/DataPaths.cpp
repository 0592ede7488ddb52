#include "DataPaths.h"

namespace ostrelvan::DataPaths {

namespace {

std::filesystem::path userDataFolder(const Environment& environment) {
    std::filesystem::path home = nonEmpty(environment, "HOME").value_or("");
#ifdef __APPLE__
    return home / "Library" / "Application Support";
#else
    if (auto xdg = nonEmpty(environment, "XDG_DATA_HOME"); xdg && xdg->front() == '/')
        return *xdg;
    return home / ".local" / "share";
#endif
}

} // namespace

std::filesystem::path root(const Environment& environment) {
    if (auto custom = nonEmpty(environment, "OSTRELVAN_DATA_DIR"))
        return *custom;
    return userDataFolder(environment) / "Ostrelvan";
}

std::filesystem::path sessions(const Environment& environment) {
    return root(environment) / "sessions";
}

std::filesystem::path helper(const Environment& environment) {
    return root(environment) / "bin" / "ostrelvan-hook";
}

} // namespace ostrelvan::DataPaths
