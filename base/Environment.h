#pragma once

#include <map>
#include <optional>
#include <string>

namespace ostrelvan {

// The process environment as a plain map, passed into the rules instead of read from globals.
using Environment = std::map<std::string, std::string, std::less<>>;

// The value of a variable that is present and non-empty.
std::optional<std::string> nonEmpty(const Environment& environment, std::string_view name);

// A snapshot of this process's environment.
Environment processEnvironment();

} // namespace ostrelvan
