// SPDX-License-Identifier: GPL-3.0-or-later
/* Only its name makes an entry a test file, so the name test is exact. All index arithmetic
 * wraps at 32 bits. */
#include "model/utils.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "model/engine_record.h"
#include "model/fatal.h"

static const char module[] = "model/utils";

int number_of_index(int index) {
    return static_cast<int>(static_cast<uint32_t>(index) + 1U);
}

int next_index(int index) {
    return number_of_index(index);
}

static int index_of_number(uint32_t number) {
    return static_cast<int>(number - 1U);
}

static bool is_digit(char character) {
    return character >= '0' && character <= '9';
}

void full_fn_from_number(char *full_fn, const char **filename, const char *path, int num) {
    const int length =
        std::snprintf(full_fn, ENGINE_PATH_MAX, "%s/%i.fff", path, number_of_index(num));
    ENGINE_REQUIRE_AS(length >= 0 && length < ENGINE_PATH_MAX,
                      "snprintf(full_fn, PATH_MAX, \"%s/%i.fff\", path, num + 1) < PATH_MAX",
                      module);
    *filename = full_fn + std::strlen(path) + 1;
}

int is_my_file(const char *filename) {
    if (filename == nullptr || !is_digit(*filename))
        return 0;
    while (is_digit(*filename))
        ++filename;
    return std::strcmp(filename, ".fff") == 0 ? 1 : 0;
}

int number_from_filename(const char *filename) {
    ENGINE_REQUIRE(is_my_file(filename), module);
    uint32_t number = 0;
    for (; is_digit(*filename); ++filename)
        number = number * 10U + static_cast<uint32_t>(*filename - '0');
    return static_cast<int>(number);
}

/* Grows the list by half, so that a million test files cost few reallocations and little
 * more than the final size. */
static int *list_with_room(int *list, int *capacity, int needed) {
    if (needed <= *capacity)
        return list;
    const int grown = std::max(needed, *capacity + *capacity / 2);
    int *ret = static_cast<int *>(std::realloc(list, static_cast<size_t>(grown) * sizeof *list));
    ENGINE_REQUIRE_IN("__ls_my_files", ret != nullptr, "ret", module);
    *capacity = grown;
    return ret;
}

int *__ls_my_files(DIR *dir, int start_at, int *count, int *my_index) {
    int capacity = 0;
    int *list = list_with_room(nullptr, &capacity, 64);
    errno = 0;
    while (const struct dirent *entry = readdir(dir)) {
        if (is_my_file(entry->d_name) && number_from_filename(entry->d_name) > start_at) {
            list = list_with_room(list, &capacity, *count + 1);
            list[(*count)++] =
                index_of_number(static_cast<uint32_t>(number_from_filename(entry->d_name)));
        }
        errno = 0;
    }
    /* After an error in mid-folder the list ends early; the error is recorded. */
    record_listing_error(errno);
    closedir(dir);

    int *ret =
        static_cast<int *>(std::realloc(list, (static_cast<size_t>(*count) + 1) * sizeof *list));
    ENGINE_REQUIRE(ret, module);
    ret[*count] = -1;
    *my_index = -1;
    return ret;
}

int *ls_my_files(const char *path, int start_at) {
    const enum engine_phase phase_before = record_phase(ENGINE_PHASE_LISTING);
    record_listing_error(0);
    DIR *dir = opendir(path);
    if (dir == nullptr)
        engine_fatal_exit(errno, "Can't open path", path);
    int count = 0;
    int my_index = 0;
    int *list = __ls_my_files(dir, start_at, &count, &my_index);
    ENGINE_REQUIRE(my_index == -1, module);
    std::sort(list, list + count);
    record_phase(phase_before);
    return list;
}

int parse_start_at(const char *argument) {
    static const char prefix[] = "--start-at=";
    constexpr size_t prefix_length = sizeof prefix - 1;
    if (std::strncmp(argument, prefix, prefix_length) != 0)
        return -1;
    const long value = std::strtol(argument + prefix_length, nullptr, 10);
    if (value <= 0 || value == LONG_MAX)
        return -1;
    return index_of_number(static_cast<uint32_t>(value));
}
