#pragma once

#include <optional>
#include <sys/types.h>

namespace ostrelvan::PeerCredentials {

// The user id of the process at the other end of a connected local (AF_UNIX) stream socket, as
// the kernel recorded it; none when it cannot be read. Linux asks SO_PEERCRED, macOS getpeereid.
std::optional<uid_t> userId(int socket);

} // namespace ostrelvan::PeerCredentials
