// SPDX-License-Identifier: GPL-3.0-or-later
// The files come first, because flushing a file above FUSE dirties the pages of its device. The
// device's pages are dropped even if files stay resident: with one copy less, a loss on the medium
// is more likely to show.
#include "volume/cold_read.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <exception>
#include <optional>
#include <system_error>

#include "volume/page_cache.h"
#include "volume/posix.h"

static bool is_memory(const std::string &file_system) {
    return file_system == "tmpfs" || file_system == "ramfs" || file_system == "devtmpfs";
}

static std::string unknown_pages(const std::string &name) {
    return "whether " + name + " is still in memory cannot be known";
}

// Drops the pages of one open file. The first try does not flush: the write phase has flushed the
// file, and a flush would consume a medium error that the read phase should meet.
static std::string drop_file(int fd, std::uint64_t bytes, const std::string &name) {
    const std::string stubborn = name + " cannot be released from it, ";
    int error = 0;
    int flush_error = 0;
    std::optional<std::uint64_t> resident;
    const bool stay = page_cache_retry([&](bool again) {
        flush_error = again ? page_cache_flush(fd) : 0;
        if (flush_error != 0)
            return false;
        page_cache_drop(fd, bytes);
        resident = page_cache_resident_bytes(fd, 0, bytes, error);
        // If the system does not tell, retrying does not help.
        return resident.value_or(0) != 0;
    });
    if (flush_error != 0)
        return stubborn +
               "it cannot be written out: " + std::generic_category().message(flush_error);
    if (error != 0)
        return stubborn +
               "what is there cannot be known: " + std::generic_category().message(error);
    if (!resident)
        return unknown_pages(name);
    if (!stay)
        return {};
    return stubborn + std::to_string(*resident) + " bytes of it stay there";
}

// Whether opening failed for a reason that may be gone when the file is read.
static bool may_open_later(int error) {
    return error == EMFILE || error == ENFILE || error == ENOMEM;
}

// Looks before opening: opening a device can have effects.
static std::string drop_name(int root, const std::string &name) {
    struct stat status = {};
    if (fstatat(root, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(status.st_mode))
        return {};
    const unique_fd file(
        openat(root, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file.is_open())
        return may_open_later(errno) ? unknown_pages(name) : std::string();
    if (fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_size <= 0)
        return {};
    return drop_file(file.get(), static_cast<std::uint64_t>(status.st_size), name);
}

std::string cold_read_files(const volume_info &volume, const std::string &root,
                            const std::vector<std::string> &names) {
    if (is_memory(volume.file_system))
        return {};
    const unique_fd folder(open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder.is_open())
        return may_open_later(errno) ? unknown_pages("any test file") : std::string();
    for (const std::string &name : names) {
        std::string reason = drop_name(folder.get(), name);
        if (!reason.empty())
            return reason;
    }
    return {};
}

std::string cold_read_prepare(const volume_info &volume, const std::string &root,
                              const std::vector<std::string> &names, const std::string &unlisted,
                              bool medium_is_memory) noexcept try {
    const std::string files = cold_read_files(volume, root, names);
    const std::string device = cold_read_device(volume, medium_is_memory);
    std::string reasons = unlisted;
    for (const std::string &reason : {files, device})
        if (!reason.empty())
            reasons += (reasons.empty() ? "" : ", and ") + reason;
    return reasons;
} catch (const std::exception &error) {
    return error.what();
}
