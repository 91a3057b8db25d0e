// Flushing comes last and only where pages have stayed: a file that the write phase has flushed has
// nothing to flush, and a flush takes an error of the medium with it that the reading would meet.
#include "volume/resident_pages.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <exception>
#include <system_error>
#include <thread>

#include "volume/page_residency.h"
#include "volume/path_text.h"

// Between two looks at pages that stay: a file system may still be busy with what it has just
// written out, a virus scanner with what it has just found. About a second in all.
constexpr std::chrono::milliseconds pauses[] = {
    std::chrono::milliseconds{0}, std::chrono::milliseconds{20}, std::chrono::milliseconds{100},
    std::chrono::milliseconds{300}, std::chrono::milliseconds{600}};

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

// Empty when nothing of the file is in memory, else what is and why.
static std::string stubborn_pages(int fd, std::uint64_t bytes) {
    page_residency_release(fd, bytes);
    std::uint64_t resident = page_residency_bytes(fd, bytes);
    for (const std::chrono::milliseconds pause : pauses) {
        if (resident == 0)
            return {};
        std::this_thread::sleep_for(pause);
        if (const int error = page_residency_flush(fd))
            return "it cannot be written out: " + std::generic_category().message(error);
        page_residency_release(fd, bytes);
        resident = page_residency_bytes(fd, bytes);
    }
    return resident == 0 ? std::string() : std::to_string(resident) + " bytes of it stay there";
}

// Likewise for the file of this name. A device is not even opened: some do things then.
static std::string stubborn_file(int folder, const std::string &name) {
    struct stat status = {};
    if (fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 ||
        !S_ISREG(status.st_mode))
        return {};
    const int fd =
        openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0)
        return {};
    const std::uint64_t bytes = file_size(fd);
    std::string pages;
    if (bytes > 0)
        pages = stubborn_pages(fd, bytes);
    close(fd);
    return pages;
}

bool resident_pages_drop(const volume_info &volume, const std::string &folder,
                         const std::vector<std::string> &names, std::string &reason) noexcept try {
    if (is_memory(volume.file_system))
        return true;
    const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return true;
    std::string pages;
    for (auto name = names.begin(); name != names.end() && pages.empty(); ++name) {
        pages = stubborn_file(descriptor, *name);
        if (!pages.empty())
            reason = path_text_printable(*name) + " cannot be released from it, " + pages;
    }
    close(descriptor);
    return pages.empty();
} catch (const std::exception &error) {
    reason = error.what();
    return false;
}
