#include "base/PeerCredentials.h"

#include <sys/socket.h>

namespace ostrelvan::PeerCredentials {

std::optional<uid_t> userId(int socket) {
    ucred credentials{};
    socklen_t size = sizeof credentials;
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0 ||
        size != sizeof credentials)
        return std::nullopt;
    return credentials.uid;
}

} // namespace ostrelvan::PeerCredentials
