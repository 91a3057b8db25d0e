// A file descriptor that is closed when its owner goes out of scope, also by an exception.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <utility>

class owned_descriptor {
 public:
    owned_descriptor() = default;
    explicit owned_descriptor(int fd) : m_fd(fd) {}
    ~owned_descriptor() {
        if (m_fd >= 0)
            close(m_fd);
    }
    owned_descriptor(owned_descriptor &&other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    owned_descriptor(const owned_descriptor &) = delete;
    owned_descriptor &operator=(const owned_descriptor &) = delete;

    bool is_open() const { return m_fd >= 0; }
    int get() const { return m_fd; }

    // Whether it leads to what `there` was learned of, by whatever name.
    bool leads_to(const struct stat &there) const {
        struct stat held = {};
        return fstat(m_fd, &held) == 0 && held.st_dev == there.st_dev &&
               held.st_ino == there.st_ino;
    }

 private:
    int m_fd = -1;
};
