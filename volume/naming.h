// What is shared by all who name entries within a folder that they hold open.
#ifndef TROVIK_VOLUME_NAMING_H
#define TROVIK_VOLUME_NAMING_H

#include <fcntl.h>

#include <cerrno>

// Opens a folder only to name entries in it, which takes no right to list it.
#if defined(O_PATH)
inline constexpr int open_for_names = O_PATH;
#elif defined(O_SEARCH)
inline constexpr int open_for_names = O_SEARCH;
#else
inline constexpr int open_for_names = O_RDONLY;
#endif

// Makes a system call until nothing interrupts it. File systems that run in user space
// interrupt calls that others do not. Returns what the call does, and its errno.
template <typename system_call>
int uninterrupted(const system_call &call) {
    int result = 0;
    do {
        result = call();
    } while (result == -1 && errno == EINTR);
    return result;
}

#endif
