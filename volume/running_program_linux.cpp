// The running program on Linux: /proc/self/exe leads to the very file, whatever became of its name.
#include <unistd.h>

#include <array>
#include <climits>

#include "volume/file_system_keys.h"

std::string running_program_link() {
    return "/proc/self/exe";
}

std::string running_program_name() {
    std::array<char, PATH_MAX> name = {};
    const ssize_t length = readlink("/proc/self/exe", name.data(), name.size());
    return length > 0 ? std::string(name.data(), static_cast<size_t>(length)) : "/proc/self/exe";
}
