// SPDX-License-Identifier: GPL-3.0-or-later
/* Both ends share one routine: it calls the host's handler, so that the host's last lines
 * come first, prints the reason on standard error, then ends the process without unwinding.
 * It calls _exit because other threads still run: destroying their objects would turn a
 * clear end into a crash. */
#include "model/fatal.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <system_error>

#include "model/plain_text.h"
#include "model/platform.h"
#include "model/utils.h"

/* Written by the host, read by the thread that ends the process. */
static std::atomic<engine_fatal_handler> fatal_handler{nullptr};

/* Room for the longest path of a test file, the system's text and the words around them. A
 * folder's path may be longer and is then cut. */
constexpr size_t message_size = ENGINE_PATH_MAX + 512;
static const char cut_mark[] = "...";

void engine_set_fatal_handler(engine_fatal_handler handler) {
    fatal_handler.store(handler, std::memory_order_release);
}

/* Writes the line with one call: pieces could mix with other processes' output on the same
 * terminal. Allocates nothing. */
static void print_last_words(const char *message) {
    char line[PLAIN_TEXT_ROOM(message_size) + 1];
    size_t left = plain_text_escape(message, std::strlen(message), line);
    line[left++] = '\n';
    for (const char *from = line; left > 0;) {
        const ssize_t written = write(STDERR_FILENO, from, left);
        if (written > 0) {
            from += written;
            left -= static_cast<size_t>(written);
        } else if (written == 0 || errno != EINTR) {
            return;
        }
    }
}

static void announce(const char *message, int exit_status) {
    std::fflush(stdout);
    const engine_fatal_handler handler = fatal_handler.load(std::memory_order_acquire);
    fatal_handler.store(nullptr, std::memory_order_relaxed);
    if (handler != nullptr)
        handler(message, exit_status);
    std::fflush(stderr);
    print_last_words(message);
}

void engine_assertion_failed(const char *condition, const char *function, const char *module) {
    char message[message_size];
    std::snprintf(message, sizeof message, "%s: Assertion failed: (%s), function %s, file %s.",
                  program_name(), condition, function, module);
    announce(message, -1);
    std::abort();
}

/* Only the low eight bits of an exit status reach the parent. An error number without any
 * of them (a file system in user space may invent one) must not look like success. */
static int failure_status(int error) {
    return (error & 0xFF) != 0 ? error & 0xFF : EIO;
}

static bool is_inside_character(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80;
}

/* Bytes of the path that fit into `room`: all of them, or whole characters with the mark
 * behind them. */
static size_t fitting_length(const char *path, size_t room) {
    const size_t length = std::strlen(path);
    if (length <= room)
        return length;
    size_t kept = room - std::min(room, sizeof cut_mark - 1);
    for (int step = 0; step < 3 && kept > 0 && is_inside_character(path[kept]); ++step)
        --kept;
    return kept;
}

void engine_fatal_exit(int error, const char *what, const char *path) {
    char message[message_size];
    const std::string reason = std::generic_category().message(error);
    const size_t other_words = std::strlen(program_name()) + std::strlen(what) + reason.size() +
                               sizeof ":  : "; /* with the terminator */
    const size_t room = message_size - std::min(message_size, other_words);
    const size_t kept = fitting_length(path, room);
    std::snprintf(message, sizeof message, "%s: %s %.*s%s: %s", program_name(), what,
                  static_cast<int>(kept), path, path[kept] == '\0' ? "" : cut_mark, reason.c_str());
    const int exit_status = failure_status(error);
    announce(message, exit_status);
    _exit(exit_status);
}
