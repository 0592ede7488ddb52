#include "base/Environment.h"

#include <cstring>

extern char** environ;

namespace ostrelvan {

std::optional<std::string> nonEmpty(const Environment& environment, std::string_view name) {
    auto it = environment.find(name);
    if (it == environment.end() || it->second.empty())
        return std::nullopt;
    return it->second;
}

Environment processEnvironment() {
    Environment environment;
    for (char** entry = environ; entry && *entry; ++entry) {
        const char* text = *entry;
        const char* equals = std::strchr(text, '=');
        if (!equals)
            continue;
        // The first definition wins, as it does for getenv.
        environment.emplace(std::string(text, equals), std::string(equals + 1));
    }
    return environment;
}

} // namespace ostrelvan
