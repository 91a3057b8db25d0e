// SPDX-License-Identifier: GPL-3.0-or-later
/* Fills a volume with test files until it refuses more. The announced free space does not
 * limit the writing: on a counterfeit it is false. Lack of space ends the phase; any other
 * failure of the file system ends the process, with the reason. */
#include "model/f3write.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "model/engine_publish.h"
#include "model/engine_record.h"
#include "model/engine_status.h"
#include "model/fatal.h"
#include "model/plain_text.h"
#include "model/test_sector.h"
#include "model/utils.h"

static const char module[] = "model/f3write";

/* Length of a measurement period, milliseconds. */
constexpr int32_t measurement_period_ms = 1000;

/* The last phase's average. Written and read by the test's thread alone. */
static double avg_write_speed = 0.0;

/* The folder that the running write phase began on. Written and read by the test's thread
 * alone. */
static struct stat phase_folder;
static bool phase_folder_known = false;

void f3write_unlink_old_files(const char *path, int start_at) {
    const enum engine_phase phase_before = record_phase(ENGINE_PHASE_REMOVING);
    /* The descriptor keeps the folder that is listed, whatever is mounted over it later. If
     * it cannot be opened, the listing ends the process. */
    const int folder = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    int *files = ls_my_files(path, start_at);
    for (const int *index = files; *index >= 0; ++index) {
        char full_fn[ENGINE_PATH_MAX];
        const char *filename = nullptr;
        full_fn_from_number(full_fn, &filename, path, *index);
        log_line_whole("Removing old file number %d ...\n", number_of_index(*index));
        if (unlinkat(folder, filename, 0) != 0)
            engine_fatal_exit(errno, "ERR: Can't remove file", full_fn);
    }
    std::free(files);
    close(folder);
    record_phase(phase_before);
}

static void log_free_space(uint64_t bytes) {
    double value = static_cast<double>(bytes);
    const char *unit = scale_to_unit(&value);
    log_line_whole("Free space on device: %.2f %s\n", value, unit);
}

static struct write_flow new_write_flow(uint64_t free_bytes, int show_progress,
                                        int32_t block_size) {
    struct write_flow fw = {};
    fw.space_total = free_bytes;
    fw.show_progress = show_progress;
    fw.block_size = block_size;
    fw.bpd_step = 1;
    fw.bpd = 1;
    fw.period_ms = measurement_period_ms;
    fw.state = INC;
    return fw;
}

/* The published unit stays that of the last period, even if the average has another; only
 * the line carries the average's own. */
static void conclude_average(const struct write_flow &fw) {
    if (fw.periods_measured == 0) {
        log_line_whole("ERR: Writing speed not available\n");
        return;
    }
    const uint64_t bytes_ms = static_cast<uint64_t>(fw.block_size) * fw.blocks_measured * 1000;
    const uint64_t ms = static_cast<uint64_t>(fw.period_ms) * fw.periods_measured;
    avg_write_speed = static_cast<double>(bytes_ms) / static_cast<double>(ms);
    record_write_average(avg_write_speed);
    const char *unit = scale_to_unit(&avg_write_speed);
    publish_write_average(avg_write_speed);
    log_line_whole("Average writing speed: %.2f %s/s\n", avg_write_speed, unit);
}

double f3write_fill_fs(const char *path, int start_at, int show_progress) {
    return f3write_fill_fs_in_blocks(path, start_at, show_progress, F3WRITE_BLOCK_SIZE);
}

double f3write_fill_fs_in_blocks(const char *path, int start_at, int show_progress,
                                 int32_t block_size) {
    ENGINE_REQUIRE(block_size >= F3WRITE_BLOCK_SIZE && block_size <= F3WRITE_BLOCK_SIZE_MAX,
                   module);
    ENGINE_REQUIRE((block_size & (block_size - 1)) == 0, module);
    const enum engine_phase phase_before = record_phase(ENGINE_PHASE_WRITING);
    uint64_t free_bytes = 0;
    free_space_query(path, &free_bytes);
    record_write_start(free_bytes, start_at);
    record_block_size(block_size);
    std::fprintf(stderr, "dd: free_space: %llu\n", static_cast<unsigned long long>(free_bytes));
    log_free_space(free_bytes);
    if (free_bytes == 0) {
        log_line_whole("ERR: No space left on device!\n");
        record_write_end(ENGINE_WRITE_NO_FREE_SPACE);
        record_phase(phase_before);
        return 1.0;
    }

    phase_folder_known = stat(path, &phase_folder) == 0;
    struct write_flow fw = new_write_flow(free_bytes, show_progress, block_size);
    int index = start_at;
    while (create_and_fill_file(path, index, test_file_size, &fw) == 1)
        index = next_index(index);

    phase_folder_known = false;
    const int known = free_space_query(path, &free_bytes);
    record_free_at_end(free_bytes, known);
    log_free_space(free_bytes);
    conclude_average(fw);
    record_phase(phase_before);
    return avg_write_speed;
}

/* True for a regular file with a single name; otherwise false with the reason in errno. A
 * FIFO, a device or a file with a second hard link is not ours. */
static bool is_own_file(int fd) {
    struct stat status = {};
    if (fstat(fd, &status) != 0)
        return false;
    if (S_ISREG(status.st_mode) && status.st_nlink <= 1)
        return true;
    errno = EEXIST;
    return false;
}

/* Keeps errno: it holds the reason for closing. */
static void close_after_failure(int fd) {
    const int error = errno;
    close(fd);
    errno = error;
}

/* True if the folder is the one that the phase began on; otherwise false with the reason in
 * errno. When a volume is unmounted during a test, its path leads to a folder of the
 * system, which must not be filled instead. */
static bool is_phase_folder(int folder) {
    struct stat status = {};
    if (!phase_folder_known)
        return true;
    if (fstat(folder, &status) != 0)
        return false;
    if (status.st_dev == phase_folder.st_dev && status.st_ino == phase_folder.st_ino)
        return true;
    errno = ENODEV;
    return false;
}

/* Looks for an entry with exactly this name. On a case-insensitive file system, opening
 * 1.fff may open a user's 1.FFF. */
static bool is_listed(int folder, const char *filename) {
    const int own = openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR *dir = own < 0 ? nullptr : fdopendir(own);
    if (dir == nullptr) {
        close_after_failure(own);
        return false;
    }
    bool found = false;
    while (const struct dirent *entry = readdir(dir))
        found = found || std::strcmp(entry->d_name, filename) == 0;
    closedir(dir);
    if (!found)
        errno = EEXIST;
    return found;
}

/* Creates the entry, empty; an old one with exactly this name is removed first. Only a file
 * created here is ever written. Truncating an existing file would race with hard links: one
 * made or removed between open and check could make it a user's file. Removing a name harms
 * no other link. Consequences:
 * - In a read-only folder the phase ends, although the old file could have been overwritten.
 *   Truncating it there would bring the race back; checking again only makes it shorter.
 * - A file that another process holds open keeps its space until it is closed.
 * - Owner and mode are those of a new file.
 * Follows no symlink, does not block on a FIFO. */
static int create_or_replace(int folder, const char *filename) {
    constexpr int flags = O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    constexpr int new_flags = flags | O_CREAT | O_EXCL;
    const int fresh = openat(folder, filename, new_flags, S_IRUSR | S_IWUSR);
    if (fresh >= 0 || errno != EEXIST || !is_listed(folder, filename))
        return fresh;
    const int old = openat(folder, filename, flags);
    if (old < 0)
        return -1;
    const bool replaceable = is_own_file(old);
    close_after_failure(old);
    if (!replaceable || unlinkat(folder, filename, 0) != 0)
        return -1;
    return openat(folder, filename, new_flags, S_IRUSR | S_IWUSR);
}

/* Returns the descriptor of an empty test file, or -1 with the reason in errno. */
static int open_for_writing(const char *path, const char *filename) {
    const int folder = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0)
        return -1;
    const int fd = is_phase_folder(folder) ? create_or_replace(folder, filename) : -1;
    close_after_failure(folder);
    return fd;
}

/* Reports a failed write on standard output and in the message log. */
static void report_failed_write(const char *full_fn, int error) {
    record_write_error(error);
    char shown[PLAIN_TEXT_ROOM(ENGINE_PATH_MAX)];
    const auto length =
        static_cast<int>(plain_text_escape(full_fn, strnlen(full_fn, ENGINE_PATH_MAX), shown));
    std::printf("Write to file %.*s failed", length, shown);
    std::fflush(stdout);
    /* A line that is too long would end the process because of its length, and hide the
     * failed write. */
    if (std::snprintf(nullptr, 0, "Write to file %.*s failed", length, shown) < LOG_LINE_SIZE)
        log_line_whole("Write to file %.*s failed", length, shown);
}

/* The buffer for one write block, aligned for the widest stores. Reused for all files and
 * never freed: a test of many files takes no more memory than one of a single file. Called
 * by the test's thread alone. */
static char *write_buffer(size_t size) {
    constexpr size_t alignment = 64;
    static char *buffer = nullptr;
    static size_t buffer_size = 0;
    if (size > buffer_size) {
        const size_t rounded = (size + alignment - 1) / alignment * alignment;
        std::free(buffer);
        buffer = static_cast<char *>(std::aligned_alloc(alignment, rounded));
        buffer_size = rounded;
        ENGINE_REQUIRE(buffer != nullptr, module);
    }
    return buffer;
}

/* Writes a block. Returns the bytes written: fewer than `size` when the volume is full. A
 * short write of the smallest block ends the process. The rest of a larger block is written
 * again; on lack of space in ever smaller pieces, since some file systems write all of a
 * request or nothing. */
static size_t write_block(const char *full_fn, int fd, const char *block, size_t size) {
    constexpr size_t smallest = F3WRITE_BLOCK_SIZE;
    size_t piece = size;
    size_t taken = 0;
    while (taken < size) {
        const size_t offered = std::min(piece, size - taken);
        const ssize_t written = write(fd, block + taken, offered);
        if (written < 0) {
            if (errno == ENOSPC && offered <= smallest)
                break;
            if (errno == ENOSPC) {
                piece = std::max(offered / 2, smallest);
                continue;
            }
            report_failed_write(full_fn, errno);
        }
        const bool whole = written == static_cast<ssize_t>(offered);
        ENGINE_REQUIRE_IN("create_and_fill_file", whole || (size > smallest && written > 0),
                          "written == fw->block_size", module);
        taken += static_cast<size_t>(written);
    }
    return taken;
}

static void count_written(struct write_flow *fw, size_t bytes) {
    fw->bytes_written += bytes;
    record_bytes_written(fw->bytes_written);
}

/* Cuts the file back to its last whole sector and counts the bytes of its partial block.
 * If cutting fails, the read phase reports the odd length. */
static void keep_whole_sectors(int fd, uint64_t whole_bytes, size_t part, struct write_flow *fw) {
    const size_t kept = part - part % SECTOR_SIZE;
    if (kept == part || ftruncate(fd, static_cast<off_t>(whole_bytes + kept)) == 0)
        part = kept;
    if (part > 0)
        count_written(fw, part);
}

/* Writes `size` bytes from `offset` on to `fd`. Returns 1 when all was written,
 * 0 when the volume is full. */
static int fill_file(const char *full_fn, int fd, uint64_t offset, uint64_t size,
                     struct write_flow *fw) {
    const auto block_size = static_cast<size_t>(fw->block_size);
    char *const block = write_buffer(block_size);
    for (uint64_t done = 0; done < size; done += block_size) {
        offset = fill_buffer(block, block_size, offset);
        const size_t taken = write_block(full_fn, fd, block, block_size);
        if (taken < block_size) {
            keep_whole_sectors(fd, done, taken, fw);
            return 0;
        }
        fw->period_blocks += 1;
        count_written(fw, block_size);
        if (fw->period_blocks >= fw->bpd) {
            measure(fw, fd);
            start_measurement(fw);
        }
    }
    return 1;
}

int create_and_fill_file(const char *path, int index, uint64_t size, struct write_flow *fw) {
    ENGINE_REQUIRE(size > 0, module);
    ENGINE_REQUIRE_AS(size % static_cast<uint64_t>(fw->block_size) == 0,
                      "size % fw->block_size == 0", module);
    char full_fn[ENGINE_PATH_MAX];
    const char *filename = nullptr;
    full_fn_from_number(full_fn, &filename, path, index);
    log_line_whole("Creating test file number %d ...\n", number_of_index(index));
    std::fflush(stdout);

    const int fd = open_for_writing(path, filename);
    if (fd < 0) {
        if (errno != ENOSPC)
            engine_fatal_exit(errno, "ERR: Can't create file", full_fn);
        log_line_whole("ERR: No space left device.\n");
        record_write_end(ENGINE_WRITE_FULL_AT_FILE);
        return 0;
    }
    record_write_file(index);

    start_measurement(fw);
    const uint64_t offset = static_cast<uint64_t>(static_cast<int64_t>(index)) * test_file_size;
    const int complete = fill_file(full_fn, fd, offset, size, fw);
    end_measurement(fw, fd);
    close(fd);
    if (complete == 0)
        record_write_end(ENGINE_WRITE_FULL_IN_FILE);
    log_line_whole("Test file written.\n");
    return complete;
}
