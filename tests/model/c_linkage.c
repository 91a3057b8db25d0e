// SPDX-License-Identifier: GPL-3.0-or-later
/* Compiled as C11: includes every header of the engine that C programs may include, and
 * calls every function in them. The two that do not return have a function of their own. */
#include <dirent.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/time.h>
#include <unistd.h>

#include "model/engine_log.h"
#include "model/engine_publish.h"
#include "model/engine_record.h"
#include "model/engine_results.h"
#include "model/engine_status.h"
#include "model/f3read.h"
#include "model/f3write.h"
#include "model/fatal.h"
#include "model/medium.h"
#include "model/plain_text.h"
#include "model/platform.h"
#include "model/test_sector.h"
#include "model/utils.h"

/* Each returns 0, or the line of the check that failed. */
int c_linkage_log_and_status(const char *folder);
int c_linkage_results(void);
int c_linkage_names(const char *folder);
int c_linkage_sectors(void);
int c_linkage_phases(const char *folder);
void c_linkage_end(int by_assertion);

#define CHECK(condition)     \
    do {                     \
        if (!(condition))    \
            return __LINE__; \
    } while (0)

int c_linkage_log_and_status(const char *folder) {
    double value = 2048.0;
    uint64_t bytes = 0;
    struct engine_log_view view;
    char escaped[PLAIN_TEXT_ROOM(2)];
    uint32_t code = 0;
    engine_log_take();
    engine_log_append("one\n");
    engine_print("two\n");
    CHECK(log_line_whole("%d\n", 3) == 2);
    log_line_cut("%d\n", 4);
    view = engine_log_take_view();
    CHECK(view.length == strlen("one\ntwo\n3\n4\n"));
    CHECK(memcmp(view.text, "one\ntwo\n3\n4\n", view.length) == 0);
    CHECK(strcmp(scale_to_unit(&value), "KB") == 0 && value == 2.0);
    set_engine_volume_path(folder);
    CHECK(get_engine_volume_path() == folder);
    CHECK(engine_free_space() > 0);
    set_engine_volume_path(NULL);
    CHECK(free_space_query(folder, &bytes) == 1 && bytes > 0);
    CHECK(test_file_size == UINT64_C(1073741824));
    publish_write_period(1.5, "KB", 50.0);
    publish_write_average(2.5);
    publish_read_speed(3.5, "MB");
    publish_volume_intact(1);
    publish_result_text(RESULT_DATA_OK, 1024);
    CHECK(get_write_speed() == 2.5 && strcmp(get_write_speed_unit(), "KB") == 0);
    CHECK(get_write_progress() == 50.0);
    CHECK(get_read_speed() == 3.5 && strcmp(get_read_speed_unit(), "MB") == 0);
    CHECK(get_volume_intact() == 1);
    CHECK(strcmp(get_data_ok_text(), "1.000000 KB") == 0);
    CHECK(get_data_lost_text() && get_data_corrupted_text() && get_data_changed_text());
    CHECK(get_data_overwritten_text() != NULL);
    CHECK(program_name()[0] != '\0');
    CHECK(plain_text_first_character("\xC3\xA9", 2, &code) == 2 && code == 0xE9);
    CHECK(plain_text_escape("a\n", 2, escaped) == 5 && memcmp(escaped, "a\\x0A", 5) == 0);
    return 0;
}

int c_linkage_results(void) {
    struct engine_write_results written;
    struct engine_read_results read_back;
    struct engine_file_result file = {2, 1, 1024, 2, 0, 0, 0};
    struct engine_missing_range missing;
    enum engine_phase before = record_phase(ENGINE_PHASE_WRITING);
    CHECK(engine_results_phase() == ENGINE_PHASE_WRITING);
    record_write_start(4096, 1);
    record_write_file(1);
    record_bytes_written(1024);
    record_write_error(5);
    record_write_end(ENGINE_WRITE_FULL_IN_FILE);
    record_write_average(10.0);
    record_free_at_end(7, 1);
    engine_results_write(&written);
    CHECK(written.free_at_start == 4096 && written.bytes_written == 1024);
    CHECK(written.write_error == 5 && written.end == ENGINE_WRITE_FULL_IN_FILE);
    CHECK(written.average_known == 1 && written.average_bytes_per_s == 10.0);
    CHECK(written.free_at_end == 7 && written.free_at_end_known == 1);
    record_read_start();
    record_listing_error(9);
    record_reading_file(2);
    record_bytes_read(1024);
    record_missing(0, 1);
    record_file(&file);
    record_read_end(1, 0.5, 2048.0);
    engine_results_read(&read_back);
    CHECK(read_back.ok == 2 && read_back.files == 1 && read_back.missing == 2);
    CHECK(read_back.listing_error == 9 && read_back.finished == 1);
    CHECK(read_back.current_index == 2 && read_back.bytes_per_s == 2048.0);
    CHECK(engine_results_file_count() == 1 && engine_results_missing_count() == 1);
    CHECK(engine_results_file(0, &file) == 1 && engine_results_file(1, &file) == 0);
    CHECK(engine_results_missing(0, &missing) == 1 && missing.last_index == 1);
    record_listing_error(0);
    record_read_start();
    CHECK(record_phase(before) == ENGINE_PHASE_WRITING);
    return 0;
}

int c_linkage_names(const char *folder) {
    char full[ENGINE_PATH_MAX];
    const char *name = NULL;
    int count = 0;
    int my_index = 0;
    int *files;
    CHECK(number_of_index(2) == 3 && next_index(2) == 3);
    full_fn_from_number(full, &name, "/v", 2);
    CHECK(strcmp(full, "/v/3.fff") == 0 && strcmp(name, "3.fff") == 0);
    CHECK(is_my_file("3.fff") == 1 && number_from_filename("3.fff") == 3);
    CHECK(parse_start_at("--start-at=3") == 2);
    files = ls_my_files(folder, 0);
    CHECK(files[0] == -1);
    free(files);
    files = __ls_my_files(opendir(folder), 0, &count, &my_index);
    CHECK(files[0] == -1 && count == 0 && my_index == -1);
    free(files);
    return 0;
}

int c_linkage_sectors(void) {
    unsigned char sector[SECTOR_SIZE];
    struct rng_state state;
    uint64_t word = 0;
    CHECK(rng_seed(0, &state) == 0 && rng_next(&state, &word) == 0);
    CHECK(word == 0x15DDB16E);
    CHECK(fill_buffer(sector, sizeof sector, 0) == SECTOR_SIZE);
    CHECK(f3read_classify_sector(sector, 0) == SECTOR_OK);
    CHECK(f3read_classify_sector(sector, 512) == SECTOR_OVERWRITTEN);
    return 0;
}

int c_linkage_phases(const char *folder) {
    char full[ENGINE_PATH_MAX];
    const char *name = NULL;
    struct write_flow fw = {0};
    struct timeval elapsed = {0, 0};
    uint64_t counts[4];
    uint64_t size = 0;
    const int files[] = {0, -1};
    int read_all = 0;
    int fd;
    fw.space_total = 4096;
    fw.block_size = 1024;
    fw.bpd = 1;
    fw.bpd_step = 1;
    fw.period_ms = 1000;
    CHECK(create_and_fill_file(folder, 0, 4096, &fw) == 1);
    start_measurement(&fw);
    CHECK(fw.period_blocks == 0 && fw.t1.tv_sec != 0);
    full_fn_from_number(full, &name, folder, 0);
    fd = open(full, O_RDWR | O_CLOEXEC);
    CHECK(fd >= 0);
    fw.period_blocks = fw.bpd;
    measure(&fw, fd);
    end_measurement(&fw, fd);
    move_to_search(&fw, 4, 8);
    CHECK(fw.state == SEARCH && fw.bpd == 6);
    CHECK(medium_flush(fd) == 0 && medium_release(fd) == 0);
    CHECK(medium_read_ahead(fd) == 0 && medium_bypass_cache(fd) >= 0);
    close(fd);
    f3read_validate_file(folder, 0, &counts[0], &counts[1], &counts[2], &counts[3], &size,
                         &read_all, &elapsed, 0);
    CHECK(counts[0] == 8 && size == 4096 && read_all != 0);
    f3read_iterate_files(folder, files, 0, 0);
    CHECK(get_volume_intact() == 1);
    f3write_unlink_old_files(folder, 0);
    CHECK(f3write_fill_fs("/does/not/exist", 0, 0) == 1.0);
    return 0;
}

void c_linkage_end(int by_assertion) {
    engine_set_fatal_handler(NULL);
    ENGINE_REQUIRE(!by_assertion, "model/test");
    engine_fatal_exit(2, "ERR: Can't open file", "/c");
}
