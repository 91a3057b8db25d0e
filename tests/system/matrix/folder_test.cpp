// SPDX-License-Identifier: GPL-3.0-or-later
// The column in which the simulated card is the volume itself: every count is known.
#include <gtest/gtest.h>

#include <filesystem>

#include "../cli_run.h"
#include "behaviours.h"
#include "cell_table.h"
#include "deadline.h"

using namespace system_tests;

// CTest waits 120 s.
static constexpr std::chrono::seconds cell_limit{100};

namespace {

class as_a_folder : public testing::TestWithParam<behaviour> {};

}  // namespace

// 1.fff in the first half of the card, 5.fff in the second, then both are read, and
// only 5.fff is judged: 1.fff holds the sectors of the same place 4 GiB before.
static cli_result read_four_gib_away(const volume &where, const deadline &until) {
    EXPECT_EQ(run_cli({"write", where.path()}, until.options()).exit_status, 0);
    std::filesystem::resize_file(where.file("1.fff"), 4 * mib);
    EXPECT_EQ(run_cli({"write", where.path(), "--start-at=5"}, until.options()).exit_status, 0);
    return run_cli_with_report({"read", where.path()}, until.options());
}

static cli_result run_on(const volume &where, const behaviour &row, const deadline &until) {
    if (row.how == procedure::four_gib_away)
        return read_four_gib_away(where, until);
    std::vector<std::string> words = {"test", where.path()};
    words.insert(words.end(), row.command_options.begin(), row.command_options.end());
    return run_cli_with_report(words, until.options());
}

static void expect_outcome(const cli_result &run, const folder_outcome &expected) {
    EXPECT_EQ(run.exit_status, expected.signal_number == 0 ? expected.exit_status : -1);
    EXPECT_EQ(run.signal_number, expected.signal_number);
    ASSERT_TRUE(run.json.is_object()) << "no JSON report\n" << run.out << run.err;
    EXPECT_EQ(run.json.at("verdict"), expected.verdict) << run.json.at("reasons");
    EXPECT_EQ(tally_of(run.json), expected.counts);
    if (run.json.at("write").is_object()) {
        EXPECT_EQ(run.json.at("write").at("bytes"), expected.bytes_written);
    }
    for (const std::string &line : expected.lines)
        EXPECT_NE((run.out + run.err).find(line), std::string::npos) << "not said: " << line << "\n"
                                                                     << run.out << run.err;
    if (run.json.at("report").is_object())
        expect_whole_report(run.json, run.out);
    else
        EXPECT_TRUE(run.json.at("fatal").is_object());
}

TEST_P(as_a_folder, has_expected_outcome) {
    const behaviour &row = GetParam();
    table_cell cell(row.words, "folder");
    SKIP_IF_MISSING(missing_for_cards());
    std::vector<std::string> options = row.options;
    if (options.empty() || !options[0].starts_with("--size="))
        options.insert(options.begin(), "--size=8M");
    const deadline until(cell_limit);
    card where(options);
    const watchdog guard(where, until);

    const cli_result run = run_on(where, row, until);

    cell.note(table_words(run));
    expect_outcome(run, row.folder);
    if (row.folder.gone)
        return;
    const bool kept = row.how == procedure::four_gib_away;
    EXPECT_EQ(where.test_files(), kept ? std::vector<int>({1, 5}) : row.folder.files_left);
}

INSTANTIATE_TEST_SUITE_P(quick, as_a_folder, testing::ValuesIn(quick_behaviours()),
                         [](const auto &test) { return std::string(test.param.name); });
INSTANTIATE_TEST_SUITE_P(slow, as_a_folder, testing::ValuesIn(slow_behaviours()),
                         [](const auto &test) { return std::string(test.param.name); });
