// SPDX-License-Identifier: GPL-3.0-or-later
/* Builds the image's file before the card is mounted. */
#include "tools/cardsim/card_image.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <span>
#include <vector>

namespace cardsim {

namespace {

/* Closes its descriptor. */
class open_file {
 public:
    explicit open_file(const std::string &path) : m_fd(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
    ~open_file() {
        if (m_fd >= 0) {
            close(m_fd);
        }
    }
    open_file(const open_file &) = delete;
    open_file &operator=(const open_file &) = delete;
    int fd() const { return m_fd; }

 private:
    int m_fd;
};

/* Copies bytes of the file to the same position on the card. Returns 0 or an error
 * number. */
int copy_stretch(int fd, off_t from, off_t to, card &device) {
    std::vector<std::byte> buffer(size_t{256} * 1024);
    while (from < to) {
        const size_t wanted = std::min(buffer.size(), static_cast<size_t>(to - from));
        const ssize_t got = pread(fd, buffer.data(), wanted, from);
        if (got <= 0) {
            return got < 0 ? errno : EIO;
        }
        const std::span bytes(buffer.data(), static_cast<size_t>(got));
        if (const int error = device.write(static_cast<uint64_t>(from), bytes); error != 0) {
            return error;
        }
        from += got;
    }
    return 0;
}

/* Skips holes: on a counterfeit, writing their zeros would overwrite other sectors. */
int copy_contents(int fd, uint64_t announced, card &device) {
    const off_t end = lseek(fd, 0, SEEK_END);
    if (end < 0) {
        return errno;
    }
    if (static_cast<uint64_t>(end) > announced) {
        return EFBIG;
    }
    for (off_t from = lseek(fd, 0, SEEK_DATA); from >= 0;) {
        const off_t to = lseek(fd, from, SEEK_HOLE);
        if (to < 0) {
            return errno;
        }
        if (const int error = copy_stretch(fd, from, to, device); error != 0) {
            return error;
        }
        from = lseek(fd, to, SEEK_DATA);
    }
    return errno == ENXIO ? 0 : errno;  // no more data
}

}  // namespace

bool card_image_add(card_room &room, file_tree &tree, const card_options &options,
                    std::string *error) {
    const uint64_t size = options.announced_sectors * CARD_SECTOR_SIZE;
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    const node_facts facts = {.mode = S_IFREG | 0600, .uid = getuid(), .gid = getgid()};
    node *image = nullptr;
    int problem = tree.make(ROOT_NODE, CARD_IMAGE_NAME, facts, now, &image);
    if (problem == 0) {
        problem = image->contents.occupy(room, size);
    }
    if (problem != 0) {
        *error = std::string(CARD_IMAGE_NAME) + " of " + std::to_string(size) +
                 " bytes cannot be made on the card: " + std::strerror(problem);
        return false;
    }
    if (options.contents.empty()) {
        return true;
    }
    const open_file source(options.contents);
    problem = source.fd() < 0 ? errno : copy_contents(source.fd(), size, room.device);
    if (problem != 0) {
        *error = "--contents: '" + options.contents +
                 "' cannot be copied to the card: " + std::strerror(problem);
    }
    return problem == 0;
}

}  // namespace cardsim
