// The claim is a name in the kernel's table of local sockets, which only one socket can have and
// which goes with it, however its process ends. Any program may take it, as it may lock any folder
// that it can open. The number that it is made of is the same for all mounts of a file system, also
// as containers and other users see them. Network namespaces have
// tables of their own: two runs in different ones do not see each other's claims, and only the lock
// on a folder that they share keeps them apart.
#include "volume/file_system_claim.h"

#include <sys/socket.h>
#include <sys/sysmacros.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <string>
#include <utility>

// Two numbers of ten digits at most: fits into an address.
static std::string name_of(dev_t file_system) {
    return "trovik-run-" + std::to_string(major(file_system)) + ":" +
           std::to_string(minor(file_system));
}

file_system_claim file_system_claim_make(dev_t file_system) {
    // Nobody can connect to a stream that does not listen, or send anything.
    owned_descriptor held(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!held.is_open())
        return {};
    // The 0 in front makes it a name that is no file's.
    const std::string name = name_of(file_system);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::copy(name.begin(), name.end(), address.sun_path + 1);
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    if (bind(held.get(), reinterpret_cast<const sockaddr *>(&address), length) != 0)
        return {owned_descriptor(), errno == EADDRINUSE};
    return {std::move(held), false};
}
