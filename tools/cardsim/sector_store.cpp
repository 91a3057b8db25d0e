// SPDX-License-Identifier: GPL-3.0-or-later
/* The card's bytes in memory or in a backing file. Memory is allocated in pieces on the
 * first write; the backing file is sparse. */
#include "tools/cardsim/sector_store.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <unordered_map>

namespace cardsim {

namespace {

// Large enough to make lookups rare in bulk transfers, small enough to keep a card with a few
// small files small.
constexpr size_t PIECE_SIZE = size_t{256} * 1024;

class memory_store : public sector_store {
 public:
    int read(uint64_t position, std::span<std::byte> into) override {
        while (!into.empty()) {
            const size_t within = static_cast<size_t>(position % PIECE_SIZE);
            const size_t length = std::min(into.size(), PIECE_SIZE - within);
            const auto piece = m_pieces.find(position / PIECE_SIZE);
            if (piece == m_pieces.end()) {
                std::memset(into.data(), 0, length);
            } else {
                std::memcpy(into.data(), piece->second.get() + within, length);
            }
            into = into.subspan(length);
            position += length;
        }
        return 0;
    }

    int write(uint64_t position, std::span<const std::byte> from) override {
        while (!from.empty()) {
            const size_t within = static_cast<size_t>(position % PIECE_SIZE);
            const size_t length = std::min(from.size(), PIECE_SIZE - within);
            std::byte *piece = piece_at(position / PIECE_SIZE);
            if (piece == nullptr) {
                return ENOMEM;
            }
            std::memcpy(piece + within, from.data(), length);
            from = from.subspan(length);
            position += length;
        }
        return 0;
    }

 private:
    std::byte *piece_at(uint64_t number) {
        try {
            std::unique_ptr<std::byte[]> &piece = m_pieces[number];
            if (!piece) {
                piece = std::make_unique<std::byte[]>(PIECE_SIZE);
            }
            return piece.get();
        } catch (const std::bad_alloc &) {
            return nullptr;
        }
    }

    std::unordered_map<uint64_t, std::unique_ptr<std::byte[]>> m_pieces;
};

class file_store : public sector_store {
 public:
    explicit file_store(int fd) : m_fd(fd) {}
    ~file_store() override { close(m_fd); }

    int read(uint64_t position, std::span<std::byte> into) override {
        while (!into.empty()) {
            const ssize_t got = pread(m_fd, into.data(), into.size(), static_cast<off_t>(position));
            if (got < 0 && errno == EINTR) {
                continue;
            }
            if (got < 0) {
                return errno;
            }
            if (got == 0) {
                return EIO;  // the file was cut by another program
            }
            into = into.subspan(static_cast<size_t>(got));
            position += static_cast<uint64_t>(got);
        }
        return 0;
    }

    int write(uint64_t position, std::span<const std::byte> from) override {
        while (!from.empty()) {
            const ssize_t put =
                pwrite(m_fd, from.data(), from.size(), static_cast<off_t>(position));
            if (put < 0 && errno == EINTR) {
                continue;
            }
            if (put < 0) {
                // The backing file's volume is full, not the card.
                return errno == ENOSPC ? EIO : errno;
            }
            from = from.subspan(static_cast<size_t>(put));
            position += static_cast<uint64_t>(put);
        }
        return 0;
    }

 private:
    int m_fd;
};

}  // namespace

std::unique_ptr<sector_store> sector_store_in_memory() {
    return std::make_unique<memory_store>();
}

std::unique_ptr<sector_store> sector_store_in_file(const std::string &path, uint64_t length,
                                                   std::string *error) {
    // O_NONBLOCK: do not block on a FIFO, which is refused below.
    const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0644);
    if (fd < 0) {
        *error = "'" + path + "' cannot be opened: " + std::strerror(errno);
        return nullptr;
    }
    auto store = std::make_unique<file_store>(fd);
    struct stat facts = {};
    if (fstat(fd, &facts) != 0) {
        *error = "'" + path + "' cannot be examined: " + std::strerror(errno);
        return nullptr;
    }
    if (!S_ISREG(facts.st_mode)) {
        *error = "'" + path + "' is not a regular file";
        return nullptr;
    }
    if (facts.st_size != 0) {
        *error = "'" + path + "' is not empty and would be overwritten: remove it first";
        return nullptr;
    }
    if (ftruncate(fd, static_cast<off_t>(length)) != 0) {
        *error = "'" + path + "' cannot be given " + std::to_string(length) +
                 " bytes: " + std::strerror(errno);
        return nullptr;
    }
    return store;
}

}  // namespace cardsim
