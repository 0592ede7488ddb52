#include "app/platform/WindowActivation.h"

namespace ostrelvan::WindowActivation {

std::optional<std::uint32_t> choose(const std::vector<std::int32_t>& chain,
                                    const std::vector<ClientWindow>& windows) {
    for (const std::int32_t pid : chain) {
        for (auto window = windows.rbegin(); window != windows.rend(); ++window) {
            if (window->pid == pid) {
                return window->id;
            }
        }
    }
    return std::nullopt;
}

} // namespace ostrelvan::WindowActivation
