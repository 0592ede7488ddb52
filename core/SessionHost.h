#pragma once

#include "EnumText.h"

#include <string_view>

namespace ostrelvan {

enum class SessionHost { vscode, terminal };

std::string_view toString(SessionHost host);
template <> std::optional<SessionHost> fromString<SessionHost>(std::string_view text);

} // namespace ostrelvan
