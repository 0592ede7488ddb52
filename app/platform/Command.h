#pragma once

#include <string>
#include <vector>

namespace ostrelvan {

// A program and its arguments, run as they are: never through a shell.
using Command = std::vector<std::string>;

} // namespace ostrelvan
