// SPDX-License-Identifier: GPL-3.0-or-later
/* File-scope values with one writer each. Numbers are relaxed atomics: plain loads and
 * stores, but defined between threads. Texts are double-buffered: the writer fills the
 * hidden copy, then publishes it, so no reader sees a half-written text. */
#include "model/engine_status.h"

#include <sys/statvfs.h>

#include <atomic>
#include <cstdio>

#include "model/engine_publish.h"

extern const uint64_t test_file_size = UINT64_C(1073741824);

namespace {

struct published_text {
    char copies[2][RESULT_TEXT_SIZE];
    std::atomic<int> shown;
};

}  // namespace

/* Written by the shell that chose the volume, read by engine_free_space on any thread. */
static std::atomic<const char *> engine_volume_path{nullptr};
/* The last answer of engine_free_space, which writes it on any thread. */
static std::atomic<uint64_t> free_space_bytes{0};
/* Written by the test's thread, read by the shells. */
static std::atomic<double> write_speed{0.0};
static std::atomic<const char *> write_speed_unit{""};
static std::atomic<double> write_progress{0.0};
static std::atomic<double> read_speed{0.0};
static std::atomic<const char *> read_speed_unit{""};
static std::atomic<uint32_t> volume_intact{0};
static published_text result_texts[RESULT_TEXT_COUNT];

const char *scale_to_unit(double *value) {
    static const char *const unit_names[] = {"Byte", "KB", "MB", "GB", "TB", "PB", "EB"};
    constexpr int unit_count = 7;
    double scaled = *value;
    int index = 0;
    /* The largest 64-bit byte count is 16 EB. Larger values stay in the last unit. */
    while (scaled >= 1024.0 && index < unit_count - 1) {
        scaled *= 0.0009765625;
        ++index;
    }
    *value = scaled;
    return unit_names[index];
}

int free_space_query(const char *path, uint64_t *bytes) {
    struct statvfs statistics = {};
    *bytes = 0;
    if (path == nullptr || statvfs(path, &statistics) != 0)
        return 0;
    *bytes = static_cast<uint64_t>(statistics.f_bfree) * statistics.f_frsize;
    return 1;
}

uint64_t engine_free_space(void) {
    uint64_t bytes = 0;
    free_space_query(engine_volume_path.load(std::memory_order_acquire), &bytes);
    free_space_bytes.store(bytes, std::memory_order_relaxed);
    return bytes;
}

void set_engine_volume_path(const char *path) {
    engine_volume_path.store(path, std::memory_order_release);
}

const char *get_engine_volume_path(void) {
    return engine_volume_path.load(std::memory_order_acquire);
}

double get_write_speed(void) {
    return write_speed.load(std::memory_order_relaxed);
}

const char *get_write_speed_unit(void) {
    return write_speed_unit.load(std::memory_order_relaxed);
}

double get_write_progress(void) {
    return write_progress.load(std::memory_order_relaxed);
}

double get_read_speed(void) {
    return read_speed.load(std::memory_order_relaxed);
}

const char *get_read_speed_unit(void) {
    return read_speed_unit.load(std::memory_order_relaxed);
}

uint32_t get_volume_intact(void) {
    return volume_intact.load(std::memory_order_relaxed);
}

static const char *shown_text(enum engine_result_text which) {
    const published_text &text = result_texts[which];
    return text.copies[text.shown.load(std::memory_order_acquire)];
}

const char *get_data_ok_text(void) {
    return shown_text(RESULT_DATA_OK);
}

const char *get_data_lost_text(void) {
    return shown_text(RESULT_DATA_LOST);
}

const char *get_data_corrupted_text(void) {
    return shown_text(RESULT_DATA_CORRUPTED);
}

const char *get_data_changed_text(void) {
    return shown_text(RESULT_DATA_CHANGED);
}

const char *get_data_overwritten_text(void) {
    return shown_text(RESULT_DATA_OVERWRITTEN);
}

void publish_write_period(double speed, const char *unit, double progress) {
    write_speed.store(speed, std::memory_order_relaxed);
    write_progress.store(progress, std::memory_order_relaxed);
    write_speed_unit.store(unit, std::memory_order_relaxed);
}

void publish_write_average(double speed) {
    write_speed.store(speed, std::memory_order_relaxed);
}

void publish_read_speed(double speed, const char *unit) {
    read_speed.store(speed, std::memory_order_relaxed);
    read_speed_unit.store(unit, std::memory_order_relaxed);
}

void publish_volume_intact(uint32_t intact) {
    volume_intact.store(intact, std::memory_order_relaxed);
}

void publish_result_text(enum engine_result_text which, uint64_t bytes) {
    const c_numbers with_points;
    double value = static_cast<double>(bytes);
    const char *unit = scale_to_unit(&value);
    published_text &text = result_texts[which];
    const int next = 1 - text.shown.load(std::memory_order_relaxed);
    std::snprintf(text.copies[next], RESULT_TEXT_SIZE, "%f %s", value, unit);
    text.shown.store(next, std::memory_order_release);
}
