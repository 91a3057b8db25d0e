// A file descriptor that is closed when it goes out of scope, also by an exception.
#pragma once

#include <unistd.h>

class descriptor {
 public:
    explicit descriptor(int fd) : m_fd(fd) {}
    ~descriptor() {
        if (m_fd >= 0)
            close(m_fd);
    }
    descriptor(const descriptor &) = delete;
    descriptor &operator=(const descriptor &) = delete;

    bool is_open() const { return m_fd >= 0; }
    int get() const { return m_fd; }

 private:
    const int m_fd;
};
