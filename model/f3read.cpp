// SPDX-License-Identifier: GPL-3.0-or-later
/* Reads a test file from the medium and not from the page cache: flushes it, drops its
 * pages, then reads it once from start to end. Only that pass is timed. An input/output
 * error ends the file, not the test: a dying card's other files still matter. */
#include "model/f3read.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "model/engine_publish.h"
#include "model/engine_record.h"
#include "model/engine_status.h"
#include "model/fatal.h"
#include "model/file_reader.h"
#include "model/medium.h"
#include "model/sector_lanes.h"
#include "model/sector_pattern.h"
#include "model/test_sector.h"
#include "model/utils.h"

static const char module[] = "model/f3read";

/* Failed checks inside a validation name this function. */
static const char validation[] = "f3read_validate_file";

/* Shortest time between two lines of counts, milliseconds. */
constexpr int64_t progress_interval_ms = 200;

/* 64 KiB per request: few calls, less than a card's own read-ahead, and progress shows on
 * the slowest card. */
constexpr size_t sectors_per_request = 128;

namespace {

struct sector_counts {
    uint64_t ok, corrupted, changed, overwritten;
};

}  // namespace

/* Compares the body with the one that the sector's offset word seeds. Stops counting
 * beyond the tolerance. */
static int count_mismatches(const char *sector, uint64_t own_offset) {
    const uint64_t state = sector_pattern::seeded_state(own_offset);
    int mismatches = 0;
    for (int i = 0; i < sector_pattern::body_words && mismatches <= SECTOR_TOLERANCE; ++i) {
        uint64_t word = 0;
        sector += sizeof word;
        std::memcpy(&word, sector, sizeof word);
        if (word != sector_pattern::body_word(state, i))
            ++mismatches;
    }
    return mismatches;
}

static enum sector_class classify_damaged(const char *sector, uint64_t expected_offset) {
    uint64_t own_offset = 0;
    std::memcpy(&own_offset, sector, sizeof own_offset);
    const int mismatches = count_mismatches(sector, own_offset);
    if (mismatches > SECTOR_TOLERANCE)
        return SECTOR_CORRUPTED;
    if (own_offset != expected_offset)
        return SECTOR_OVERWRITTEN;
    return mismatches == 0 ? SECTOR_OK : SECTOR_CHANGED;
}

enum sector_class f3read_classify_sector(const void *sector, uint64_t expected_offset) {
    enum sector_class what = SECTOR_OK;
    f3read_classify_sectors(sector, 1, expected_offset, &what);
    return what;
}

void f3read_classify_sectors(const void *sectors, size_t count, uint64_t expected_offset,
                             enum sector_class *classes) {
    const char *const bytes = static_cast<const char *>(sectors);
    size_t done = 0;
    while (done < count) {
        const char *next = bytes + done * SECTOR_SIZE;
        uint64_t offset = expected_offset + done * SECTOR_SIZE;
        uint64_t own_offset = 0;
        std::memcpy(&own_offset, next, sizeof own_offset);
        /* Fast path: nearly all sectors are intact. */
        if (own_offset == offset && offset % SECTOR_SIZE == 0) {
            const size_t run = sector_lanes_best().intact(next, count - done, offset);
            std::fill_n(classes + done, run, SECTOR_OK);
            done += run;
            next += run * SECTOR_SIZE;
            offset += run * SECTOR_SIZE;
        }
        if (done < count)
            classes[done++] = classify_damaged(next, offset);
    }
}

static void add_to_counts(const enum sector_class *classes, size_t count, sector_counts &counts) {
    std::array<uint64_t, 4> sectors_of_class = {};
    for (size_t i = 0; i < count; ++i)
        ++sectors_of_class[classes[i]];
    counts.ok += sectors_of_class[SECTOR_OK];
    counts.changed += sectors_of_class[SECTOR_CHANGED];
    counts.corrupted += sectors_of_class[SECTOR_CORRUPTED];
    counts.overwritten += sectors_of_class[SECTOR_OVERWRITTEN];
}

/* True for a regular file, and for a folder, which fails later when it is read. Otherwise
 * false with the reason in errno. */
static bool is_readable_entry(int fd) {
    struct stat status = {};
    if (fstat(fd, &status) != 0)
        return false;
    if (S_ISREG(status.st_mode) || S_ISDIR(status.st_mode))
        return true;
    errno = ENOTSUP;
    return false;
}

/* Follows no symlink, does not block on a FIFO. -1 with the reason in errno on failure. */
static int open_for_reading(const char *full_fn) {
    const int fd = open(full_fn, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0 || is_readable_entry(fd))
        return fd;
    const int error = errno;
    close(fd);
    errno = error;
    return -1;
}

/* Logs a line of counts unless the last one is too recent. */
static void report_counts(const sector_counts &counts, struct timeval &last_line) {
    struct timeval pt2 = {};
    ENGINE_REQUIRE_IN(validation, !gettimeofday(&pt2, NULL), "!gettimeofday(&pt2, NULL)", module);
    const int64_t passed_ms =
        (static_cast<int64_t>(pt2.tv_sec) - last_line.tv_sec) * 1000 +
        (static_cast<int64_t>(pt2.tv_usec) - static_cast<int64_t>(last_line.tv_usec)) / 1000;
    if (passed_ms < progress_interval_ms)
        return;
    last_line = pt2;
    log_line_cut("%7llu,%9llu,%7llu,%7llu%s\n", static_cast<unsigned long long>(counts.ok),
                 static_cast<unsigned long long>(counts.corrupted),
                 static_cast<unsigned long long>(counts.changed),
                 static_cast<unsigned long long>(counts.overwritten), "");
}

/* Counts the classified sectors of one request and logs lines of counts. The clock is read
 * twice: after the first sector, which the read waited for, and after the last, in case this
 * thread was preempted. In between pass only microseconds. */
static void count_sectors(const enum sector_class *classes, size_t count, uint32_t progress,
                          sector_counts &counts, struct timeval &last_line) {
    for (size_t counted = 0; counted < count;) {
        const size_t next = counted == 0 ? 1 : count - counted;
        add_to_counts(classes + counted, next, counts);
        counted += next;
        if (progress != 0)
            report_counts(counts, last_line);
    }
}

/* Reads and classifies all sectors. Returns 0 at the file's end, otherwise the error
 * number. A sector is counted after the next one was read or failed, so that its line of
 * counts includes that wait. Hence the last sector of a request waits for the next one. */
static int validate_sectors(file_reader &file, uint64_t expected_offset, uint32_t progress,
                            uint64_t bytes_before, sector_counts &counts) {
    /* Written and read by the test's thread alone. */
    alignas(file_reader_alignment) static char bytes[sectors_per_request * SECTOR_SIZE];
    static enum sector_class classes[1 + sectors_per_request];
    struct timeval last_line = {};
    last_line.tv_sec = -1000; /* long ago: the first sector prints a line */
    size_t waiting = 0;       /* uncounted sectors at the head of classes: 0 or 1 */
    size_t incomplete = 0;    /* bytes of a sector that was read in part */
    for (;;) {
        const ssize_t got = file.next(bytes + incomplete, sizeof bytes - incomplete);
        const int error = errno;
        if (got <= 0) {
            count_sectors(classes, waiting, progress, counts, last_line);
            return got < 0 ? error : file.had_error() ? EIO : 0;
        }
        const size_t available = incomplete + static_cast<size_t>(got);
        const size_t sectors = available / SECTOR_SIZE;
        ENGINE_REQUIRE_IN(validation, sectors <= sectors_per_request, "sectors_read == 1", module);
        incomplete = available % SECTOR_SIZE;
        if (sectors == 0)
            continue;
        f3read_classify_sectors(bytes, sectors, expected_offset, classes + waiting);
        const size_t complete = waiting + sectors - 1;
        count_sectors(classes, complete, progress, counts, last_line);
        classes[0] = classes[complete];
        waiting = 1;
        expected_offset += sectors * SECTOR_SIZE;
        record_bytes_read(bytes_before + file.position() - incomplete);
        std::memmove(bytes, bytes + sectors * SECTOR_SIZE, incomplete);
    }
}

static void add_elapsed(struct timeval *elapsed, const struct timeval &t1,
                        const struct timeval &t2) {
    elapsed->tv_sec += t2.tv_sec - t1.tv_sec;
    elapsed->tv_usec += t2.tv_usec - t1.tv_usec;
    if (elapsed->tv_usec >= 1000000) {
        elapsed->tv_sec += 1;
        elapsed->tv_usec -= 1000000;
    }
}

/* Makes the reads come from the medium. The clock starts before read-ahead, which is part
 * of the reading. */
static void prepare_reading(int fd, struct timeval &t1) {
    ENGINE_REQUIRE_IN(validation, fd >= 0, "fd >= 0", module);
    ENGINE_REQUIRE_IN(validation, medium_flush(fd) == 0, "!fdatasync(fd)", module);
    ENGINE_REQUIRE_IN(validation, medium_release(fd) == 0,
                      "!posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED)", module);
    ENGINE_REQUIRE_IN(validation, !gettimeofday(&t1, NULL), "!gettimeofday(&t1, NULL)", module);
    ENGINE_REQUIRE_IN(validation, medium_read_ahead(fd) == 0,
                      "!posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL)", module);
}

void f3read_validate_file(const char *path, int number, uint64_t *ok, uint64_t *corrupted,
                          uint64_t *changed, uint64_t *overwritten, uint64_t *size, int *read_all,
                          struct timeval *elapsed, uint32_t progress) {
    char full_fn[ENGINE_PATH_MAX];
    const char *filename = nullptr;
    full_fn_from_number(full_fn, &filename, path, number);
    std::fflush(stdout);
    log_line_cut("Validating file number %d ... %s\n", number_of_index(number),
                 progress != 0 ? "                                 " : "");

    const int fd = open_for_reading(full_fn);
    if (fd < 0)
        engine_fatal_exit(errno, "ERR: Can't open file", full_fn);
    struct timeval t1 = {};
    struct timeval t2 = {};
    prepare_reading(fd, t1);

    struct engine_read_results before = {};
    engine_results_read(&before);
    sector_counts counts = {};
    const uint64_t first_offset =
        static_cast<uint64_t>(static_cast<int64_t>(number)) * test_file_size;
    file_reader file(fd);
    const int error = validate_sectors(file, first_offset, progress, before.bytes_read, counts);
    ENGINE_REQUIRE(!gettimeofday(&t2, NULL), module);
    add_elapsed(elapsed, t1, t2);

    *ok = counts.ok;
    *corrupted = counts.corrupted;
    *changed = counts.changed;
    *overwritten = counts.overwritten;
    *read_all = error == 0 ? 1 : 0;
    ENGINE_REQUIRE_AS(*read_all || error == EIO, "*read_all || errno == EIO", module);
    *size = file.position();
    close(fd);
    std::fputs("\n", stdout);
    record_bytes_read(before.bytes_read + *size);
}
