// SPDX-License-Identifier: GPL-3.0-or-later
/* The message log is a ring buffer of ENGINE_LOG_SIZE bytes with two positions that only
 * grow: the test's thread moves the end, the draining thread moves the start. Each position
 * has one writer, so plain stores suffice. Every byte belongs to one side at a time, so a
 * drain during an append neither loses text nor returns it twice. */
#include "model/engine_log.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "model/engine_publish.h"
#include "model/fatal.h"

static const char module[] = "model/engine_log";

/* Pending text: written by the test's thread, read by the draining thread. */
static std::atomic<char> engine_log[ENGINE_LOG_SIZE];
/* Bytes ever appended: written by the test's thread; publishes the text. */
static std::atomic<uint64_t> appended_bytes{0};
/* Bytes ever drained: written by the draining thread; frees their room. */
static std::atomic<uint64_t> drained_bytes{0};
/* The drained copy. The draining thread's own. */
static char engine_log_drain[ENGINE_LOG_SIZE];

static_assert((ENGINE_LOG_SIZE & (ENGINE_LOG_SIZE - 1)) == 0,
              "positions are folded into the ring with a remainder that must not jump");

static std::atomic<char> &log_byte(uint64_t position) {
    return engine_log[position % ENGINE_LOG_SIZE];
}

void engine_log_append(const char *text) {
    const uint64_t start = drained_bytes.load(std::memory_order_acquire);
    const uint64_t end = appended_bytes.load(std::memory_order_relaxed);
    const size_t pending = static_cast<size_t>(end - start);
    const size_t length = std::strlen(text);

    /* Copies first: the text may be the drained copy, which the other thread may refill. */
    char *working = static_cast<char *>(std::malloc(pending + length + 1));
    if (working == nullptr) {
        std::fputs("ERR: malloc failed!\n", stderr);
        return;
    }
    std::memcpy(working, text, length + 1);

    const size_t kept = std::min(length, ENGINE_LOG_SIZE - pending);
    for (size_t i = 0; i < kept; ++i)
        log_byte(end + i).store(working[i], std::memory_order_relaxed);
    std::free(working);
    appended_bytes.store(end + kept, std::memory_order_release);
}

struct engine_log_view engine_log_take_view(void) {
    const uint64_t end = appended_bytes.load(std::memory_order_acquire);
    const uint64_t start = drained_bytes.load(std::memory_order_relaxed);
    const size_t length = static_cast<size_t>(end - start);
    for (size_t i = 0; i < length; ++i)
        engine_log_drain[i] = log_byte(start + i).load(std::memory_order_relaxed);
    std::memset(engine_log_drain + length, 0, ENGINE_LOG_SIZE - length);
    drained_bytes.store(end, std::memory_order_release);
    return {engine_log_drain, length};
}

const char *engine_log_take(void) {
    return engine_log_take_view().text;
}

void engine_print(const char *text) {
    std::printf("%s", text);
    engine_log_append(text);
}

/* Lines of the write phase must be whole because they name files. Lines of the read phase
 * may be cut: they only count. */
int log_line_whole(const char *format, ...) {
    char line[LOG_LINE_SIZE];
    const c_numbers with_points;
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    ENGINE_REQUIRE(length >= 0 && length < LOG_LINE_SIZE, module);
    engine_log_append(line);
    return length;
}

void log_line_cut(const char *format, ...) {
    char line[LOG_LINE_SIZE];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    engine_log_append(line);
}
