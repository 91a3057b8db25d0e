// The thread of one test, as far as the main thread can see it.
#include "app/job_thread.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>

namespace {

// Waits until the thread says that it has ended.
bool wait_for_end(const job_thread &job) {
    for (int i = 0; i < 10000 && job.is_executing(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return !job.is_executing();
}

}  // namespace

TEST(job_thread, is_not_executing_before_it_is_started) {
    bool ran = false;
    {
        const job_thread job([&] { ran = true; });
        EXPECT_FALSE(job.is_executing());
    }
    EXPECT_FALSE(ran);
}

TEST(job_thread, is_executing_from_its_start_to_the_return_of_its_entry) {
    std::promise<void> go_on;
    job_thread job([&] { go_on.get_future().wait(); });
    job.start();
    EXPECT_TRUE(job.is_executing());
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_TRUE(job.is_executing());
    go_on.set_value();
    EXPECT_TRUE(wait_for_end(job));
}

TEST(job_thread, runs_on_a_thread_of_its_own) {
    std::thread::id id;
    job_thread job([&] { id = std::this_thread::get_id(); });
    job.start();
    ASSERT_TRUE(wait_for_end(job));
    EXPECT_NE(id, std::this_thread::get_id());
    EXPECT_NE(id, std::thread::id());
}

TEST(job_thread, what_it_did_can_be_seen_once_it_has_ended) {
    for (int i = 0; i < 200; ++i) {
        int value = 0;
        job_thread job([&] { value = i + 1; });
        job.start();
        ASSERT_TRUE(wait_for_end(job));
        ASSERT_EQ(value, i + 1);
    }
}

TEST(job_thread, is_left_to_itself_when_nobody_needs_it_any_more) {
    auto go_on = std::make_shared<std::promise<void>>();
    auto ended = std::make_shared<std::promise<void>>();
    std::future<void> end = ended->get_future();
    {
        job_thread job([go_on, ended] {
            go_on->get_future().wait();
            ended->set_value();
        });
        job.start();
        // Its end waits for nothing.
    }
    EXPECT_EQ(end.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    go_on->set_value();
    EXPECT_EQ(end.wait_for(std::chrono::seconds(10)), std::future_status::ready);
}
