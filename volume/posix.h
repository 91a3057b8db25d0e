// SPDX-License-Identifier: GPL-3.0-or-later
// Small owners and helpers around POSIX calls, for all rooms outside the engine.
#ifndef TROVIK_VOLUME_POSIX_H
#define TROVIK_VOLUME_POSIX_H

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <memory>
#include <string>
#include <utility>

// For opening a folder only to name entries in it: needs no right to list it.
#if defined(O_PATH)
inline constexpr int open_for_names = O_PATH;
#elif defined(O_SEARCH)
inline constexpr int open_for_names = O_SEARCH;
#else
inline constexpr int open_for_names = O_RDONLY;
#endif

// Repeats a call that returns -1 on failure while it fails with EINTR: FUSE file systems interrupt
// calls that others do not. Returns the last result; errno is the call's.
template <typename system_call>
int retry_eintr(const system_call &call) {
    int result = 0;
    do {
        result = call();
    } while (result == -1 && errno == EINTR);
    return result;
}

// Closes the descriptor if there is one. Keeps errno.
void close_keeping_errno(int fd);

// Owns a file descriptor. Closing keeps errno.
class unique_fd {
 public:
    unique_fd() = default;
    explicit unique_fd(int fd) : m_fd(fd) {}
    ~unique_fd() { close_keeping_errno(m_fd); }
    unique_fd(unique_fd &&other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    unique_fd &operator=(unique_fd &&other) noexcept {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    unique_fd(const unique_fd &) = delete;
    unique_fd &operator=(const unique_fd &) = delete;

    bool is_open() const { return m_fd >= 0; }
    int get() const { return m_fd; }

    // Whether the descriptor leads to the file that `status` describes, whatever its name.
    bool leads_to(const struct stat &status) const {
        struct stat held = {};
        return fstat(m_fd, &held) == 0 && held.st_dev == status.st_dev &&
               held.st_ino == status.st_ino;
    }

 private:
    int m_fd = -1;
};

struct dir_close {
    void operator()(DIR *directory) const { closedir(directory); }
};
using unique_dir = std::unique_ptr<DIR, dir_close>;

// realpath(3): the absolute path without links, or an empty text with errno set.
std::string real_path(const std::string &path);

// The last name of an absolute path without a slash at its end; "/" for "/".
std::string last_name(const std::string &path);

// "PATH: WHAT: REASON" with the system's reason for the error number. The path keeps its raw bytes:
// only the caller knows where the text is shown.
std::string path_error(const std::string &path, const std::string &what, int error_number);

#endif
