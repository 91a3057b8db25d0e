// SPDX-License-Identifier: GPL-3.0-or-later
// Cards whose cells lose bits: the number of wrong words in a sector decides its class.
#include <gtest/gtest.h>

#include "cli_run.h"
#include "sector_oracle.h"
#include "support/volumes.h"

using namespace system_tests;

constexpr std::uint64_t card_sectors = 4 * mib / oracle_sector_bytes;

// One bit in each of `words` body words of the card's sector, as cardsim takes it.
// The word says which bit, so that low and high halves are both met.
static std::string flips(std::uint64_t sector, unsigned words) {
    std::string list;
    for (unsigned word = 63; word > 63 - words; --word)
        list += (list.empty() ? "" : ",") + std::to_string(sector) + ":" +
                std::to_string(word * 64 + (word * 7) % 64);
    return "--flip=" + list;
}

TEST(flipped_bits, two_words_change_sector_and_three_corrupt_it) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=4M", flips(100, 1), flips(200, 2), flips(300, 3), flips(400, 63),
                      flips(0, 2), flips(card_sectors - 1, 3)});

    const cli_result run = run_cli_with_report({"test", where.path(), "--keep-files"});

    EXPECT_EQ(run.exit_status, 65) << run.err;
    expect_whole_report(run.json, run.out);
    EXPECT_EQ(tally_of(run.json),
              (sector_tally{.ok = card_sectors - 6, .corrupted = 3, .changed = 3}));
    expect_oracle_agrees(where, run.json);
    const std::vector<sector_kind> kinds = oracle_judge_file(where.file("1.fff"), 1);
    ASSERT_EQ(kinds.size(), card_sectors);
    EXPECT_EQ(kinds[0], sector_kind::changed);
    EXPECT_EQ(kinds[100], sector_kind::changed);
    EXPECT_EQ(kinds[200], sector_kind::changed);
    EXPECT_EQ(kinds[300], sector_kind::corrupted);
    EXPECT_EQ(kinds[400], sector_kind::corrupted);
    EXPECT_EQ(kinds[card_sectors - 1], sector_kind::corrupted);
}

TEST(flipped_bits, position_word_overwrites_or_corrupts_sector) {
    SKIP_IF_MISSING(missing_for_cards());
    // The body follows from the low half of the position alone: a bit of the high half
    // makes a sector that belongs elsewhere, one of the low half a body that fits nowhere.
    // Several bits of a word count as one word.
    const card where(
        {"--size=1M", "--flip=50:40", "--flip=60:10", "--flip=70:640,70:650,70:660,70:703,70:641"});

    const cli_result run = run_cli_with_report({"test", where.path(), "--keep-files"});

    EXPECT_EQ(run.exit_status, 65) << run.err;
    EXPECT_EQ(tally_of(run.json),
              (sector_tally{.ok = 2045, .corrupted = 1, .changed = 1, .overwritten = 1}));
    expect_oracle_agrees(where, run.json);
}

TEST(flipped_bits, random_flips_match_kept_file) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=4M", "--flip-rate=0.05", "--seed=7"});

    const cli_result run = run_cli_with_report({"test", where.path(), "--keep-files"});

    EXPECT_EQ(run.exit_status, 65) << run.err;
    EXPECT_GT(tally_of(run.json).changed, 0U);
    expect_oracle_agrees(where, run.json);
}
