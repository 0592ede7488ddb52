#pragma once

#include <optional>
#include <string_view>

namespace ostrelvan {

// Enumerations are persisted as their raw text and read back by exact, case-sensitive match.
// Each enumeration specialises this and offers a matching toString overload.
template <class Enum> std::optional<Enum> fromString(std::string_view text);

} // namespace ostrelvan
