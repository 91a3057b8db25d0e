// SPDX-License-Identifier: GPL-3.0-or-later
// The wait ends at the time-out, and the late result is destroyed.
#include "volume/answer_in_time.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <memory>
#include <string>

using namespace std::chrono_literals;

TEST(answer_in_time, returns_result) {
    EXPECT_EQ(answer_in_time(60s, [text = "answer"] { return std::string(text); }), "answer");
}

TEST(answer_in_time, gives_up_on_hanging_function) {
    std::promise<void> end;
    const auto over = end.get_future().share();
    auto answer = std::make_shared<int>(1);
    const std::weak_ptr<int> late = answer;
    EXPECT_FALSE(answer_in_time(10ms, [over, answer = std::move(answer)]() {
        over.wait();
        return answer;
    }));
    EXPECT_FALSE(late.expired()) << "the function still runs";
    end.set_value();
    for (int i = 0; i < 6000 && !late.expired(); ++i)
        std::this_thread::sleep_for(10ms);
    EXPECT_TRUE(late.expired());
}

TEST(answer_in_time, returns_nothing_without_thread) {
    const pid_t child = fork();
    if (child == 0) {
        const struct rlimit none = {0, 0};
        setrlimit(RLIMIT_NPROC, &none);
        // Root has no such limit.
        if (geteuid() == 0 && setuid(65534) != 0)
            _exit(2);
        _exit(answer_in_time(60s, [] { return 1; }) ? 1 : 0);
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}
