#pragma once

#include "core/EnumText.h"

#include <string_view>

namespace ostrelvan {

enum class SessionHost { vscode, terminal };

template <>
inline constexpr auto enumValues<SessionHost> =
    std::array{SessionHost::vscode, SessionHost::terminal};

std::string_view toString(SessionHost host);

} // namespace ostrelvan
