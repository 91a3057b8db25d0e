// SPDX-License-Identifier: GPL-3.0-or-later
// The main thread handles events while the engine works.
#include "app/controller_state.h"
#include "heartbeat.h"
#include "outreach_support.h"
#include "support/volumes.h"
#include "whole_run.h"

using namespace app_tests;
using namespace test_support;

using main_thread = whole_run_test;

namespace {

// The timer of 10 ms runs for longer than a period of the display while the engine waits.
void expect_events_while_stalled(stalling_card &card) {
    card.stall();
    const heartbeat heart;
    EXPECT_TRUE(wait_until([&] { return heart.beats() >= 150; }));
    card.go_on();
}

}  // namespace

// The main thread itself does the clean-up, so the card stalls in the other phases.
TEST_F(main_thread, handles_events_while_engine_waits_for_card) {
    SKIP_IF_MISSING(missing_for_cards());
    stalling_card where({"--size=4M", "--write-rate=4M", "--read-rate=4M"});
    choose(where.path());
    ASSERT_NO_FATAL_FAILURE(press_start());
    for (const engine_phase phase : {ENGINE_PHASE_WRITING, ENGINE_PHASE_READING}) {
        ASSERT_TRUE(wait_for_phase(phase));
        expect_events_while_stalled(where);
    }

    ASSERT_TRUE(wait_for_state(UI_STATE_WAITING));
    EXPECT_EQ(report_value(1), "YES");
    EXPECT_EQ(look_at(app()).verdict, "Intact");
    EXPECT_EQ(where.test_files(), std::vector<int>());
}
