// SPDX-License-Identifier: GPL-3.0-or-later
// A report on the tested volume would take part in the test, and the full volume has no room for
// it.
#include "cli/json_output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string_view>

#include "cli/console.h"
#include "report/printable.h"

json_output::~json_output() {
    if (m_fd >= 0)
        close(m_fd);
}

// The end of a chain of links, which need not exist.
static std::filesystem::path final_target(std::filesystem::path path) {
    constexpr int links_max = 40;  // as the kernel follows
    std::error_code error;
    for (int i = 0; i < links_max && std::filesystem::is_symlink(path, error); ++i) {
        const std::filesystem::path next = std::filesystem::read_symlink(path, error);
        path = next.is_absolute() ? next : path.parent_path() / next;
    }
    return path;
}

bool json_output::open(const std::optional<std::string> &target, const volume_info &tested,
                       std::string &error) {
    if (!target)
        return true;
    if (*target == "-") {
        m_name = "standard output";
        std::fflush(stdout);
        m_fd = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
        if (m_fd >= 0 && dup2(STDERR_FILENO, STDOUT_FILENO) >= 0)
            return true;
        error = m_name + ": " + std::strerror(errno);
        return false;
    }
    m_name = "'" + printable_text(*target) + "'";
    // A dangling link is resolved, too: the file will lie at its end.
    const std::filesystem::path file(final_target(*target));
    bool same = false;
    if (!volume_same_file_system(file.has_parent_path() ? file.parent_path().string() : ".",
                                 tested.root, same, error)) {
        error = printable_text(error);
        return false;
    }
    if (same) {
        error = m_name + " lies on the volume that is to be tested";
        return false;
    }
    // Not emptied yet: an earlier report stays until write().
    m_fd = ::open(target->c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    m_own_file = true;
    if (m_fd < 0)
        error = m_name + ": " + std::strerror(errno);
    return m_fd >= 0;
}

bool json_output::write(const std::string &text, std::string &error) {
    if (m_fd < 0 || m_written)
        return true;
    m_written = true;
    // A pipe or a device cannot be truncated and need not be.
    const bool empty = !m_own_file || ftruncate(m_fd, 0) == 0 || errno == EINVAL;
    if (empty && write_all(m_fd, text))
        return true;
    error = m_name + ": " + std::strerror(errno);
    return false;
}
