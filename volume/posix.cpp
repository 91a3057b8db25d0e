// SPDX-License-Identifier: GPL-3.0-or-later
#include "volume/posix.h"

#include <unistd.h>

#include <cstdlib>
#include <system_error>

void close_keeping_errno(int fd) {
    if (fd < 0)
        return;
    const int error = errno;
    close(fd);
    errno = error;
}

std::string real_path(const std::string &path) {
    struct text_free {
        void operator()(char *text) const { std::free(text); }
    };
    const std::unique_ptr<char, text_free> real(realpath(path.c_str(), nullptr));
    return real == nullptr ? std::string() : std::string(real.get());
}

std::string last_name(const std::string &path) {
    const size_t slash = path.rfind('/');
    return path.size() <= 1 || slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string path_error(const std::string &path, const std::string &what, int error_number) {
    return path + ": " + what + ": " + std::generic_category().message(error_number);
}
