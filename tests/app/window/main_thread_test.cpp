// The window stays alive during a test: whatever the engine does, the main thread
// comes back to its events.
#include <cstdio>

#include "app/controller_state.h"
#include "heartbeat.h"
#include "mounts.h"
#include "whole_run.h"

using namespace app_tests;
using namespace system_tests;

using main_thread = whole_run_test;

// A volume in memory: the engine works as fast as it can. The clean-up is the one
// thing that the main thread does itself, and is left out.
TEST_F(main_thread, comes_back_to_its_events_all_through_a_test) {
    SKIP_IF_MISSING(missing_for_mounts());
    const tmpfs_volume where("size=64m");
    choose(where.path());
    heartbeat heart;
    ASSERT_NO_FATAL_FAILURE(press_start());
    ASSERT_TRUE(wait_for_state(UI_STATE_RESULT));
    heart.stop();
    std::printf("longest gap in %d beats: %lld ms\n", heart.beats(),
                static_cast<long long>(heart.longest_ms()));
    RecordProperty("longest_gap_ms", static_cast<int>(heart.longest_ms()));
    EXPECT_GT(heart.beats(), 50);
    EXPECT_LT(heart.longest_ms(), 2000);

    ASSERT_TRUE(wait_for_state(UI_STATE_WAITING));
    EXPECT_EQ(report_value(1), "YES");
    EXPECT_EQ(look_at(app()).verdict, "Intact");
    EXPECT_EQ(where.test_files(), std::vector<int>());
}
