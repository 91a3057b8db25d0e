// SPDX-License-Identifier: GPL-3.0-or-later
// Runs one phase of the engine on a folder, or the bare loop for comparison, and prints its
// cost: "bytes seconds user_seconds peak_memory_kib" on standard output.
//
//   phase_bench write FOLDER      fill the volume with test files
//   phase_bench write_1m FOLDER   the same in blocks of 1 MiB
//   phase_bench bare FOLDER       the same writes of a constant buffer, with the same
//                                 blocks, files, flushes and clock readings
//   phase_bench read FOLDER       read the test files back
//   phase_bench clean FOLDER      remove them
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "model/engine_results.h"
#include "model/engine_status.h"
#include "model/f3read.h"
#include "model/f3write.h"
#include "model/utils.h"

// The time that this process spent in user space, in seconds since some moment before the first
// call: as the system accounts it. Where that samples (Linux with its usual settings), it is exact
// to some milliseconds only; user_time_between_calls.cpp takes its place in a second program.
[[gnu::weak]] double user_seconds() {
    struct rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec) / 1e6;
}

// Writes one file of constant blocks, like a test file without its pattern. Returns false
// when the volume is full.
static bool write_bare_file(const std::string &path, struct write_flow &fw) {
    char block[1024];
    std::memset(block, 0x5A, sizeof block);
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (fd < 0)
        return false;
    bool all_written = true;
    start_measurement(&fw);
    for (uint64_t written = 0; written < test_file_size; written += sizeof block) {
        if (write(fd, block, sizeof block) != static_cast<ssize_t>(sizeof block)) {
            all_written = false;
            break;
        }
        fw.period_blocks += 1;
        fw.bytes_written += sizeof block;
        if (fw.period_blocks >= fw.bpd) {
            measure(&fw, fd);
            start_measurement(&fw);
        }
    }
    end_measurement(&fw, fd);
    close(fd);
    return all_written;
}

static uint64_t run_bare(const char *folder) {
    struct write_flow fw = {};
    fw.show_progress = 1;
    fw.block_size = 1024;
    fw.bpd_step = fw.bpd = 1;
    fw.period_ms = 1000;
    for (int number = 1;
         write_bare_file(std::string(folder) + "/" + std::to_string(number) + ".fff", fw);)
        ++number;
    return fw.bytes_written;
}

static uint64_t run_write_in_blocks(const char *folder, int32_t block_size) {
    f3write_fill_fs_in_blocks(folder, 0, 1, block_size);
    struct engine_write_results results = {};
    engine_results_write(&results);
    return results.bytes_written;
}

static uint64_t run_write(const char *folder) {
    return run_write_in_blocks(folder, F3WRITE_BLOCK_SIZE);
}

static uint64_t run_write_1m(const char *folder) {
    return run_write_in_blocks(folder, 1 << 20);
}

static uint64_t run_read(const char *folder) {
    int *files = ls_my_files(folder, 0);
    f3read_iterate_files(folder, files, 0, 1);
    std::free(files);
    struct engine_read_results results = {};
    engine_results_read(&results);
    return results.bytes_read;
}

static uint64_t run_clean(const char *folder) {
    f3write_unlink_old_files(folder, 0);
    return 0;
}

static long peak_memory_kib() {
    struct rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

int main(int argc, char **argv) {
    const struct {
        const char *name;
        uint64_t (*run)(const char *folder);
    } phases[] = {{"write", run_write},
                  {"write_1m", run_write_1m},
                  {"bare", run_bare},
                  {"read", run_read},
                  {"clean", run_clean}};
    for (const auto &phase : phases) {
        if (argc != 3 || std::strcmp(argv[1], phase.name) != 0)
            continue;
        const double user_before = user_seconds();
        const auto begin = std::chrono::steady_clock::now();
        const uint64_t bytes = phase.run(argv[2]);
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
        std::printf("%llu %.6f %.6f %ld\n", static_cast<unsigned long long>(bytes), taken.count(),
                    user_seconds() - user_before, peak_memory_kib());
        return 0;
    }
    std::fprintf(stderr, "usage: phase_bench write|write_1m|bare|read|clean FOLDER\n");
    return 64;
}
