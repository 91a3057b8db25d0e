// SPDX-License-Identifier: GPL-3.0-or-later
// The lock of a file system is a name in the kernel's table of abstract Unix sockets: only one
// socket can have it, and it goes when that socket is closed. The mount table's device number, of
// which the name is made, is the same for all mounts of a file system, in containers and for other
// users, too. Each network namespace has its own table. Any program can take such a name, as it can
// lock any folder that it can open.
#include <sys/socket.h>
#include <sys/sysmacros.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <string>

#include "volume/run_lock.h"

// Two numbers of ten digits at most fit into an address.
static std::string name_of(dev_t device) {
    return "trovik-run-" + std::to_string(major(device)) + ":" + std::to_string(minor(device));
}

unique_fd run_lock_file_system(dev_t device, int &error) {
    // No program can connect: the socket never listens.
    unique_fd held(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const std::string name = name_of(device);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    // The name is abstract because its first byte is 0.
    std::copy(name.begin(), name.end(), address.sun_path + 1);
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    if (held.is_open() &&
        bind(held.get(), reinterpret_cast<const sockaddr *>(&address), length) == 0)
        return held;
    error = errno;
    return {};
}
