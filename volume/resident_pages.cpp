// Flushing comes last and only where pages have stayed: a file that the write phase has flushed has
// nothing to flush, and a flush takes an error of the medium with it that the reading would meet.
#include "volume/resident_pages.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <exception>
#include <optional>
#include <system_error>

#include "volume/owned_descriptor.h"
#include "volume/page_residency.h"

static bool is_memory(const std::string &file_system) {
    return file_system == "tmpfs" || file_system == "ramfs" || file_system == "devtmpfs";
}

// Size of the plain file behind the descriptor; 0 for anything else.
static std::uint64_t file_size(int fd) {
    struct stat status = {};
    if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size <= 0)
        return 0;
    return static_cast<std::uint64_t>(status.st_size);
}

static std::string unknown_pages(const std::string &name) {
    return "whether " + name + " is still in memory cannot be known";
}

// Empty when nothing of the file of this name is in memory, else what is and why.
static std::string stubborn_pages(int fd, std::uint64_t bytes, const std::string &name) {
    const std::string stubborn = name + " cannot be released from it, ";
    int error = 0;
    int flush_error = 0;
    std::optional<std::uint64_t> resident;
    const bool stay = page_residency_insist([&](bool again) {
        flush_error = again ? page_residency_flush(fd) : 0;
        if (flush_error != 0)
            return false;
        page_residency_release(fd, bytes);
        resident = page_residency_bytes(fd, 0, bytes, error);
        // Asking again and again makes no one tell.
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

// Whether opening failed for something that may have passed when the file is read.
static bool may_open_later(int error) {
    return error == EMFILE || error == ENFILE || error == ENOMEM;
}

// Likewise for what has this name. A device is not even opened: some do things then.
static std::string stubborn_file(int folder, const std::string &name) {
    struct stat status = {};
    if (fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 ||
        !S_ISREG(status.st_mode))
        return {};
    const owned_descriptor file(
        openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file.is_open())
        return may_open_later(errno) ? unknown_pages(name) : std::string();
    const std::uint64_t bytes = file_size(file.get());
    return bytes > 0 ? stubborn_pages(file.get(), bytes, name) : std::string();
}

bool resident_pages_drop(const volume_info &volume, const std::string &folder,
                         const std::vector<std::string> &names, std::string &reason) noexcept try {
    if (is_memory(volume.file_system))
        return true;
    const owned_descriptor opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!opened.is_open()) {
        if (!may_open_later(errno))
            return true;
        reason = unknown_pages("any test file");
        return false;
    }
    for (const std::string &name : names) {
        const std::string why = stubborn_file(opened.get(), name);
        if (why.empty())
            continue;
        reason = why;
        return false;
    }
    return true;
} catch (const std::exception &error) {
    reason = error.what();
    return false;
}
