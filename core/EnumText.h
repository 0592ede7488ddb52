#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace ostrelvan {

// Enumerations are persisted as their raw text and read back by exact, case-sensitive match.
// Each enumeration offers a toString overload and lists its values in enumValues.
template <class Enum> inline constexpr auto enumValues = std::array<Enum, 0>{};

template <class Enum> std::optional<Enum> fromString(std::string_view text) {
    for (const Enum value : enumValues<Enum>)
        if (toString(value) == text)
            return value;
    return std::nullopt;
}

} // namespace ostrelvan
