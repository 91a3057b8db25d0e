// SPDX-License-Identifier: GPL-3.0-or-later
#include "runner/run_thread.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <future>

#include "support/process.h"

namespace {

bool wait_for_end(const run_thread &thread) {
    for (int i = 0; i < 60000 && thread.is_executing(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return !thread.is_executing();
}

}  // namespace

TEST(run_thread, does_not_execute_before_start) {
    bool ran = false;
    {
        const run_thread thread([&] { ran = true; });
        EXPECT_FALSE(thread.is_executing());
    }
    EXPECT_FALSE(ran);
}

TEST(run_thread, executes_from_start_to_return_of_entry) {
    std::promise<void> go_on;
    run_thread thread([&] { go_on.get_future().wait(); });
    thread.start();
    EXPECT_TRUE(thread.is_executing());
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_TRUE(thread.is_executing());
    go_on.set_value();
    EXPECT_TRUE(wait_for_end(thread));
}

TEST(run_thread, runs_on_own_thread) {
    std::thread::id id;
    run_thread thread([&] { id = std::this_thread::get_id(); });
    thread.start();
    ASSERT_TRUE(wait_for_end(thread));
    EXPECT_NE(id, std::this_thread::get_id());
    EXPECT_NE(id, std::thread::id());
}

TEST(run_thread, its_writes_are_visible_after_its_end) {
    for (int i = 0; i < 200; ++i) {
        int value = 0;
        run_thread thread([&] { value = i + 1; });
        thread.start();
        ASSERT_TRUE(wait_for_end(thread));
        ASSERT_EQ(value, i + 1);
    }
}

TEST(run_thread, destructor_does_not_wait_for_running_thread) {
    auto go_on = std::make_shared<std::promise<void>>();
    auto ended = std::make_shared<std::promise<void>>();
    std::future<void> end = ended->get_future();
    {
        run_thread thread([go_on, ended] {
            go_on->get_future().wait();
            ended->set_value();
        });
        thread.start();
    }
    EXPECT_EQ(end.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    go_on->set_value();
    EXPECT_EQ(end.wait_for(std::chrono::seconds(60)), std::future_status::ready);
}

TEST(run_thread, start_fails_when_system_has_no_thread) {
    const test_support::process_result result = test_support::run_body([] {
        const rlimit none = {0, 0};
        setrlimit(RLIMIT_NPROC, &none);
        // The limit does not bind root.
        if (geteuid() == 0 && setuid(65534) != 0)
            _exit(2);
        run_thread thread([] {});
        _exit(thread.start() || thread.is_executing() ? 1 : 0);
    });
    EXPECT_EQ(result.exit_status, 0) << result.err;
}
