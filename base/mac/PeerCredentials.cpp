#include "base/PeerCredentials.h"

#include <unistd.h>

namespace ostrelvan::PeerCredentials {

std::optional<uid_t> userId(int socket) {
    uid_t user = 0;
    gid_t group = 0;
    if (::getpeereid(socket, &user, &group) != 0)
        return std::nullopt;
    return user;
}

} // namespace ostrelvan::PeerCredentials
