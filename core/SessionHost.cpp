#include "core/SessionHost.h"

namespace ostrelvan {

std::string_view toString(SessionHost host) {
    return host == SessionHost::vscode ? "vscode" : "terminal";
}

} // namespace ostrelvan
