// SPDX-License-Identifier: GPL-3.0-or-later
/* The read phase: validates every listed file, adds up the totals, gives the verdict. The
 * verdict depends on the sector counts alone. Missing files and input/output errors are
 * warnings on standard output; diagnostics go to standard error. Neither goes to the
 * message log. */
#include <cstdio>

#include "model/engine_publish.h"
#include "model/engine_record.h"
#include "model/engine_status.h"
#include "model/f3read.h"
#include "model/fatal.h"
#include "model/test_sector.h"
#include "model/utils.h"

static const char module[] = "model/f3read";

namespace {

struct read_totals {
    uint64_t ok, corrupted, changed, overwritten; /* sectors */
    uint64_t size;                                /* bytes */
    struct timeval reading_time;
    bool all_read;
    bool files_missing;

    uint64_t bad() const { return changed + overwritten + corrupted; }
};

}  // namespace

static void print_missing_file(int index) {
    char full_fn[ENGINE_PATH_MAX];
    const char *filename = nullptr;
    full_fn_from_number(full_fn, &filename, "", index);
    std::printf("ERR: Missing file %s\n", filename);
}

/* Reports every file missing between `expected` and `found`. Returns the index expected
 * next. */
static int report_missing(int expected, int found, read_totals &totals) {
    if (found != expected)
        totals.files_missing = true;
    if (expected < found)
        record_missing(expected, found - 1);
    for (; expected < found; expected = next_index(expected))
        print_missing_file(expected);
    return next_index(expected);
}

static void validate_file(const char *path, int index, uint32_t progress, read_totals &totals) {
    struct engine_file_result file = {};
    int read_all = 0;
    record_reading_file(index);
    f3read_validate_file(path, index, &file.ok, &file.corrupted, &file.changed, &file.overwritten,
                         &file.size, &read_all, &totals.reading_time, progress);
    file.index = index;
    file.read_all = read_all != 0 ? 1 : 0;
    record_file(&file);
    totals.ok += file.ok;
    totals.corrupted += file.corrupted;
    totals.changed += file.changed;
    totals.overwritten += file.overwritten;
    totals.size += file.size;
    totals.all_read = totals.all_read && read_all != 0;
}

/* Checks that every byte read was counted as part of a sector. */
static bool check_counts(const read_totals &totals) {
    const uint64_t sectors = totals.size / SECTOR_SIZE;
    const uint64_t counted = totals.bad() + totals.ok;
    const bool agree = sectors == counted;
    std::fputs(agree ? "dd: assert == true, size:seems to be ok\n"
                     : "dd: assert != true, size:somthing is strange\n",
               stderr);
    std::fprintf(stderr, "dd: tot_size / SECTOR_SIZE                                 : %llu\n",
                 static_cast<unsigned long long>(sectors));
    std::fprintf(stderr, "dd: tot_ok + tot_corrupted + tot_changed + tot_overwritten : %llu\n",
                 static_cast<unsigned long long>(counted));
    return agree;
}

static double dt_to_s(const struct timeval &time) {
    const double ret =
        static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1000000.0;
    ENGINE_REQUIRE(ret >= 0, module);
    return ret;
}

static void publish_totals(const read_totals &totals, bool counts_agree) {
    publish_volume_intact(counts_agree && totals.bad() == 0 ? 1 : 0);
    const double reading_s = dt_to_s(totals.reading_time);
    const double bytes_per_s = static_cast<double>(totals.size) / (reading_s > 0 ? reading_s : 1.0);
    double speed = bytes_per_s;
    const char *unit = scale_to_unit(&speed);
    publish_read_speed(speed, unit);
    publish_result_text(RESULT_DATA_OK, totals.ok * SECTOR_SIZE);
    publish_result_text(RESULT_DATA_LOST, totals.bad() * SECTOR_SIZE);
    publish_result_text(RESULT_DATA_CORRUPTED, totals.corrupted * SECTOR_SIZE);
    publish_result_text(RESULT_DATA_CHANGED, totals.changed * SECTOR_SIZE);
    publish_result_text(RESULT_DATA_OVERWRITTEN, totals.overwritten * SECTOR_SIZE);
    record_read_end(counts_agree ? 1 : 0, reading_s, bytes_per_s);
}

static void print_warnings(const read_totals &totals, int start_at) {
    if (totals.files_missing)
        std::printf("ERR: WARNING: Not all files are available\n");
    if (start_at > 0)
        std::printf("ERR: WARNING: Not all files were tested due to parameter %s%i\n",
                    "--start-at=", number_of_index(start_at));
    if (!totals.all_read)
        std::printf("ERR: WARNING: Not all data was read due to I/O error(s)\n");
}

void f3read_iterate_files(const char *path, const int *files, int start_at, uint32_t progress) {
    const enum engine_phase phase_before = record_phase(ENGINE_PHASE_READING);
    record_read_start();
    log_line_cut("Sectors:     OK,corrupted,changed,overwritten\n");
    read_totals totals = {};
    totals.all_read = true;
    int expected = start_at;
    for (const int *index = files; *index >= 0; ++index) {
        expected = report_missing(expected, *index, totals);
        validate_file(path, *index, progress, totals);
    }
    publish_totals(totals, check_counts(totals));
    print_warnings(totals, start_at);
    record_phase(phase_before);
}
