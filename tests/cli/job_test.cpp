// The engine's phases on their own thread.
#include "cli/job.h"

#include <gtest/gtest.h>

#include <chrono>
#include <utility>

#include "model/engine_results.h"
#include "support.h"

using cli_tests::private_volume;
using cli_tests::set_file_content;

namespace {

// What the job has asked the shell, in order.
struct questions {
    int steps = 0;
    int before_read = 0;
};

job_plan plan_for(const std::string &folder, int start_index, job_steps steps, questions &asked) {
    job_plan plan;
    plan.folder = folder;
    plan.start_index = start_index;
    plan.steps = steps;
    plan.may_go_on = [&asked] {
        ++asked.steps;
        return true;
    };
    plan.before_read = [&asked] { ++asked.before_read; };
    return plan;
}

void wait_for_end(const job &running) {
    while (running.is_running())
        std::this_thread::sleep_for(std::chrono::milliseconds{2});
    EXPECT_EQ(running.removal_listing_error(), 0);
}

questions run_to_its_end(const std::string &path, int start_index, job_steps steps) {
    questions asked;
    const job running(plan_for(path, start_index, steps, asked));
    wait_for_end(running);
    return asked;
}

}  // namespace

TEST(job, steps_run_in_the_order_of_a_test) {
    const private_volume volume("size=512k");
    SKIP_WITHOUT(volume);
    set_file_content(volume.file("1.fff"), "left alone");
    set_file_content(volume.file("2.fff"), "old");
    set_file_content(volume.file("9.fff"), "old");
    const questions asked =
        run_to_its_end(volume.path(), 1, {.remove = true, .fill = true, .read = true});
    EXPECT_EQ(asked.steps, 4) << "once before each, once after the reading";
    EXPECT_EQ(asked.before_read, 1);
    EXPECT_EQ(cli_tests::entries(volume.path()), (std::vector<std::string>{"1.fff", "2.fff"}));
    EXPECT_EQ(cli_tests::file_content(volume.file("1.fff")), "left alone");
    engine_read_results read = {};
    engine_results_read(&read);
    EXPECT_EQ(read.finished, 1);
    EXPECT_EQ(read.bytes_read, cli_tests::file_size(volume.file("2.fff")));
    EXPECT_EQ(read.ok * 512, read.bytes_read);
    EXPECT_EQ(engine_results_phase(), ENGINE_PHASE_IDLE);
}

TEST(job, a_step_that_is_not_asked_for_does_not_run) {
    const private_volume volume("size=512k");
    SKIP_WITHOUT(volume);
    set_file_content(volume.file("1.fff"), "old");
    run_to_its_end(volume.path(), 0, {});
    EXPECT_EQ(cli_tests::file_content(volume.file("1.fff")), "old");
    run_to_its_end(volume.path(), 0, {.remove = true});
    EXPECT_EQ(cli_tests::entries(volume.path()), std::vector<std::string>{});
    run_to_its_end(volume.path(), 0, {.fill = true});
    EXPECT_EQ(cli_tests::entries(volume.path()), std::vector<std::string>{"1.fff"});
}

TEST(job, its_end_is_waited_for) {
    const private_volume volume("size=4m");
    SKIP_WITHOUT(volume);
    questions asked;
    { const job running(plan_for(volume.path(), 0, {.fill = true}, asked)); }
    engine_write_results written = {};
    engine_results_write(&written);
    EXPECT_NE(written.end, ENGINE_WRITE_NOT_ENDED);
    EXPECT_EQ(cli_tests::file_size(volume.file("1.fff")), written.bytes_written);
}

TEST(job, a_shell_that_says_no_ends_it_before_the_next_step) {
    const private_volume volume("size=512k");
    SKIP_WITHOUT(volume);
    set_file_content(volume.file("1.fff"), "old");
    for (int allowed = 0; allowed <= 2; ++allowed) {
        questions asked;
        job_plan plan =
            plan_for(volume.path(), 0, {.remove = true, .fill = true, .read = true}, asked);
        plan.may_go_on = [&asked, allowed] { return asked.steps++ < allowed; };
        const job running(std::move(plan));
        wait_for_end(running);
        EXPECT_EQ(asked.before_read, 0) << allowed;
        const size_t files = allowed == 1 ? 0 : 1;
        EXPECT_EQ(cli_tests::entries(volume.path()).size(), files) << allowed;
        if (allowed == 0) {
            EXPECT_EQ(cli_tests::file_content(volume.file("1.fff")), "old");
        }
    }
}
