// SPDX-License-Identifier: GPL-3.0-or-later
// Locks pages of a file or a device in memory for its lifetime, as another program can: they stay
// resident even when the page cache is dropped.
#ifndef TROVIK_TESTS_SUPPORT_LOCKED_PAGES_H
#define TROVIK_TESTS_SUPPORT_LOCKED_PAGES_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <string>

namespace test_support {

class locked_pages {
 public:
    // The first page when nothing else is said; `offset` is a multiple of a page.
    explicit locked_pages(const std::string &path, off_t offset = 0, std::size_t bytes = 4096)
        : m_bytes(bytes) {
        const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        m_mapping = mmap(nullptr, bytes, PROT_READ, MAP_SHARED | MAP_POPULATE, fd, offset);
        close(fd);
        EXPECT_NE(m_mapping, MAP_FAILED);
        EXPECT_EQ(mlock(m_mapping, bytes), 0);
    }
    ~locked_pages() { munmap(m_mapping, m_bytes); }
    locked_pages(const locked_pages &) = delete;
    locked_pages &operator=(const locked_pages &) = delete;

 private:
    std::size_t m_bytes;
    void *m_mapping;
};

}  // namespace test_support

#endif
