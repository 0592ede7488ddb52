#include "app/platform/WindowActivation.h"

namespace ostrelvan::WindowActivation {

// macOS brings a terminal forward by its application's bundle identifier instead.
Outcome activate(const std::vector<std::int32_t>&, std::optional<std::uint32_t>) {
    return Outcome::unavailable;
}

} // namespace ostrelvan::WindowActivation
