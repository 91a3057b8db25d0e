// SPDX-License-Identifier: GPL-3.0-or-later
/* The writers' side of engine_log.h and engine_status.h, for the engine's own phases.
 * Called on the test's thread only. */
#ifndef TROVIK_MODEL_ENGINE_PUBLISH_H
#define TROVIK_MODEL_ENGINE_PUBLISH_H

#include <stdint.h>

#ifdef __cplusplus
#include <locale.h>
#if __has_include(<xlocale.h>)
#include <xlocale.h> /* where macOS keeps uselocale */
#endif

extern "C" {
#endif

/* A line of the log: 80 characters and the terminator, as on a classic terminal. */
#define LOG_LINE_SIZE 81

/* Appends a line to the log; one that is longer than LOG_LINE_SIZE ends the process.
 * Returns its length in characters. Numbers have a decimal point in every locale. */
__attribute__((format(printf, 1, 2))) int log_line_whole(const char *format, ...);

/* Appends a line to the log; one that is longer than LOG_LINE_SIZE is cut. */
__attribute__((format(printf, 1, 2))) void log_line_cut(const char *format, ...);

/* The five result texts, in the order of the report. */
enum engine_result_text {
    RESULT_DATA_OK,
    RESULT_DATA_LOST,
    RESULT_DATA_CORRUPTED,
    RESULT_DATA_CHANGED,
    RESULT_DATA_OVERWRITTEN,
    RESULT_TEXT_COUNT,
};

/* Bytes of a result text, terminator included. */
#define RESULT_TEXT_SIZE 255

/* A measured period: current speed in `unit` (a string literal) per second, and the
 * progress in percent. */
void publish_write_period(double speed, const char *unit, double progress);

/* The phase's average replaces the current speed. The unit stays that of the last period. */
void publish_write_average(double speed);

void publish_read_speed(double speed, const char *unit);
void publish_volume_intact(uint32_t intact);

/* Publishes `bytes` as a result text. */
void publish_result_text(enum engine_result_text which, uint64_t bytes);

#ifdef __cplusplus
}

/* While it lives, this thread formats numbers as the C locale does. */
class c_numbers {
 public:
    c_numbers() : m_before(uselocale(c_locale())) {}
    ~c_numbers() { uselocale(m_before); }
    c_numbers(const c_numbers &) = delete;
    c_numbers &operator=(const c_numbers &) = delete;

 private:
    /* Created once and never freed. */
    static locale_t c_locale() {
        static const locale_t made = newlocale(LC_ALL_MASK, "C", nullptr);
        return made;
    }

    locale_t m_before;
};
#endif
#endif
