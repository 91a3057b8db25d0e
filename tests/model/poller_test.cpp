// SPDX-License-Identifier: GPL-3.0-or-later
/* A shell polls everything as fast as it can while a test runs on another thread: it sees
 * no torn value, and the thread sanitizer reports nothing. */
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <set>
#include <string>
#include <thread>

#include "model/engine_log.h"
#include "model/engine_results.h"
#include "model/engine_status.h"
#include "model/f3read.h"
#include "model/f3write.h"
#include "model/utils.h"
#include "support.h"

using model_tests::drained_log;
using model_tests::private_volume;

namespace {

/* Polls all values and checks those that must agree within one poll. */
class poller {
 public:
    void poll() {
        ++m_polls;
        m_log += drained_log();
        check_status();
        check_records();
        m_phases.insert(engine_results_phase());
    }

    size_t polls() const { return m_polls; }
    const std::string &log() const { return m_log; }
    const std::set<int> &phases() const { return m_phases; }
    const std::string &problem() const { return m_problem; }

 private:
    void require(bool holds, const std::string &what) {
        if (!holds && m_problem.empty())
            m_problem = what;
    }

    void check_status() {
        static const std::set<std::string> units = {"", "Byte", "KB", "MB", "GB", "TB", "PB", "EB"};
        require(units.count(get_write_speed_unit()) == 1, "write speed unit");
        require(units.count(get_read_speed_unit()) == 1, "read speed unit");
        require(get_write_speed() >= 0 && get_read_speed() >= 0, "speed");
        require(get_write_progress() >= 0 && get_write_progress() <= 100, "progress");
        require(get_volume_intact() <= 1, "intact");
        require(engine_free_space() <= 4U << 20U, "free space");
        for (const char *text :
             {get_data_ok_text(), get_data_lost_text(), get_data_corrupted_text(),
              get_data_changed_text(), get_data_overwritten_text()})
            require(std::string(text).size() < 255, "result text");
    }

    void check_records() {
        engine_write_results written = {};
        engine_results_write(&written);
        require(written.bytes_written <= 4U << 20U, "bytes written");
        require(written.end >= ENGINE_WRITE_NOT_ENDED && written.end <= ENGINE_WRITE_FULL_IN_FILE,
                "write end");
        engine_read_results totals = {};
        engine_results_read(&totals);
        require(totals.bytes_read <= 4U << 20U, "bytes read");
        const size_t count = engine_results_file_count();
        for (size_t position = 0; position < count; ++position) {
            engine_file_result file = {};
            if (engine_results_file(position, &file) == 0)
                continue; /* the next read phase has started */
            const uint64_t sectors = file.ok + file.corrupted + file.changed + file.overwritten;
            require(sectors == file.size / 512, "a file's record is torn");
        }
        for (size_t position = 0; position < engine_results_missing_count(); ++position) {
            engine_missing_range range = {};
            if (engine_results_missing(position, &range) == 1)
                require(range.first_index <= range.last_index, "a range is torn");
        }
    }

    size_t m_polls = 0;
    std::string m_log;
    std::set<int> m_phases;
    std::string m_problem;
};

void run_whole_test(const char *volume) {
    f3write_unlink_old_files(volume, 0);
    f3write_fill_fs(volume, 0, 1);
    int *files = ls_my_files(volume, 0);
    f3read_iterate_files(volume, files, 0, 1);
    free(files);
}

}  // namespace

TEST(poller, sees_nothing_torn_while_tests_run) {
    const private_volume volume("size=4m");
    SKIP_WITHOUT(volume);
    drained_log();
    set_engine_volume_path(volume.c_path());
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    /* On a busy machine the poller may miss a phase, so the test repeats until it has seen
     * enough, for at most a minute. */
    constexpr size_t enough_polls = 11;
    std::atomic<bool> seen_enough = false;
    std::atomic<bool> done = false;
    std::thread test([&] {
        const auto latest = std::chrono::steady_clock::now() + std::chrono::minutes(1);
        for (int run = 0; run < 5 || !seen_enough; ++run) {
            run_whole_test(volume.c_path());
            if (std::chrono::steady_clock::now() > latest)
                break;
        }
        done = true;
    });
    poller shell;
    while (!done) {
        shell.poll();
        seen_enough = shell.polls() >= enough_polls &&
                      shell.phases().count(ENGINE_PHASE_WRITING) == 1 &&
                      shell.phases().count(ENGINE_PHASE_READING) == 1;
    }
    test.join();
    shell.poll();
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
    set_engine_volume_path(nullptr);
    EXPECT_EQ(shell.problem(), "");
    EXPECT_GE(shell.polls(), enough_polls);
    EXPECT_EQ(shell.phases().count(ENGINE_PHASE_WRITING), 1U);
    EXPECT_EQ(shell.phases().count(ENGINE_PHASE_READING), 1U);
    EXPECT_NE(shell.log().find("Validating file number 1 ..."), std::string::npos);
    EXPECT_STREQ(get_data_ok_text(), "4.000000 MB");
    EXPECT_STREQ(get_data_lost_text(), "0.000000 Byte");
    EXPECT_EQ(get_volume_intact(), 1U);
}
