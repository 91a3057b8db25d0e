// SPDX-License-Identifier: GPL-3.0-or-later
// Uses write(2) on descriptors: the C library's streams belong to the engine, and text that
// bypasses the pipes must not wait in a buffer.
#include "cli/console.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "report/printable.h"

// Columns to assume when the terminal does not tell.
constexpr unsigned default_columns = 80;

// Between two fields of a status line.
static const char field_gap[] = "    ";

// A write may be cut short, interrupted, or refused by a terminal that is set not to block; none of
// these is a failure.
bool write_all(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(fd, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<size_t>(written));
        } else if (errno == EAGAIN) {
            struct pollfd ready = {fd, POLLOUT, 0};
            poll(&ready, 1, -1);
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

static unsigned terminal_columns(int fd) {
    struct winsize size = {};
    if (ioctl(fd, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        return size.ws_col;
    return default_columns;
}

// A duplicate that child programs do not inherit.
static int private_duplicate(int fd) {
    return fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
}

console::console() {
    m_out.number = m_out.real_fd = STDOUT_FILENO;
    m_err.number = m_err.real_fd = STDERR_FILENO;
    m_out.terminal = isatty(STDOUT_FILENO) == 1;
    m_err.terminal = m_out.terminal && isatty(STDERR_FILENO) == 1;
    if (!m_out.terminal)
        return;
    std::fflush(stdout);
    // A pipe would make the stream buffer whole blocks.
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    take_over(m_out);
    if (m_err.terminal)
        take_over(m_err);
}

console::~console() {
    release_streams();
}

void console::take_over(stream &which) {
    int ends[2] = {-1, -1};
    const int real_fd = private_duplicate(which.number);
    if (real_fd < 0 || pipe(ends) != 0) {
        // Without a pipe, the engine's lines may break the status line.
        if (real_fd >= 0)
            close(real_fd);
        return;
    }
    fcntl(ends[0], F_SETFD, FD_CLOEXEC);
    fcntl(ends[0], F_SETFL, O_NONBLOCK);
    dup2(ends[1], which.number);
    close(ends[1]);
    which.real_fd = real_fd;
    which.pipe_fd = ends[0];
}

void console::release_streams() {
    pass_on_streams();
    show_status("");
    for (stream *which : {&m_out, &m_err}) {
        if (which->pipe_fd < 0)
            continue;
        dup2(which->real_fd, which->number);
        pass_on(*which);
        close(which->pipe_fd);
        close(which->real_fd);
        which->pipe_fd = -1;
        which->real_fd = which->number;
    }
}

void console::pass_on(stream &from) {
    if (from.pipe_fd < 0)
        return;
    char buffer[4096];
    for (;;) {
        const ssize_t got = read(from.pipe_fd, buffer, sizeof buffer);
        if (got <= 0)
            return;
        if (m_open_line == open_line::user_text)
            close_line();
        write_text(from, std::string_view(buffer, static_cast<size_t>(got)));
        m_open_line = buffer[got - 1] == '\n' ? open_line::none : open_line::engine_stream;
    }
}

void console::pass_on_streams() {
    pass_on(m_out);
    pass_on(m_err);
}

void console::write_text(stream &to, std::string_view text) {
    if (text.empty())
        return;
    bool written = false;
    if (to.terminal) {
        erase_status();
        written = write_all(to.real_fd, printable_lines(text));
    } else {
        // Through the C library, to stay in order with the engine's own lines.
        FILE *const library_stream = to.number == STDOUT_FILENO ? stdout : stderr;
        written = std::fwrite(text.data(), 1, text.size(), library_stream) == text.size();
        written = std::fflush(library_stream) == 0 && written;
    }
    if (!written && to.number == STDOUT_FILENO && m_output_error == 0)
        m_output_error = errno;
}

void console::print(std::string_view text) {
    if (text.empty())
        return;
    if (m_open_line == open_line::engine_stream)
        close_line();
    write_text(m_out, text);
    m_open_line = text.back() == '\n' ? open_line::none : open_line::user_text;
}

void console::close_line() {
    if (m_open_line == open_line::none)
        return;
    m_open_line = open_line::none;
    write_text(m_out, "\n");
}

void console::print_error(const std::string &line) {
    close_line();
    write_text(m_err, line + "\n");
}

void console::erase_status() {
    if (m_status.empty())
        return;
    write_all(m_out.real_fd, "\r\x1b[K");
    m_status.clear();
}

// As many whole fields of the status line as fit: half a number is a wrong number. Leaves three
// columns free, because a full line wraps on some terminals and Ctrl-C is echoed as "^C".
static std::string fitting(const std::string &text, unsigned columns) {
    const size_t room = columns > 3 ? columns - 3 : 0;
    if (text.size() <= room)
        return text;
    const size_t field_end = text.rfind(field_gap, room);
    return text.substr(0, field_end == std::string::npos ? room : field_end);
}

void console::show_status(const std::string &text) {
    if (!m_out.terminal || text == m_status)
        return;
    if (text.empty()) {
        erase_status();
        return;
    }
    close_line();
    write_all(m_out.real_fd, "\r\x1b[K" + fitting(text, terminal_columns(m_out.real_fd)));
    m_status = text;
}
