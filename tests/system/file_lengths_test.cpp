// SPDX-License-Identifier: GPL-3.0-or-later
// Test files that were cut, lengthened or emptied after the run that wrote them.
#include <gtest/gtest.h>

#include <filesystem>

#include "cli_run.h"
#include "sector_oracle.h"
#include "support/volumes.h"

using namespace system_tests;

namespace {

class file_lengths : public testing::Test {
 protected:
    void SetUp() override {
        SKIP_IF_MISSING(missing_for_mounts());
        m_volume = std::make_unique<tmpfs_volume>("size=6m");
        const process_result written = run_cli({"write", m_volume->path()});
        ASSERT_EQ(written.exit_status, 0) << written.err;
    }

    void cut(const std::string &name, std::uint64_t bytes) const {
        std::filesystem::resize_file(m_volume->file(name), bytes);
    }

    cli_result read() const {
        cli_result run = run_cli_with_report({"read", m_volume->path()});
        expect_whole_report(run.json, run.out);
        expect_oracle_agrees(*m_volume, run.json);
        return run;
    }

    std::unique_ptr<tmpfs_volume> m_volume;
};

}  // namespace

TEST_F(file_lengths, partial_last_sector_is_read_but_not_judged) {
    cut("1.fff", 3 * mib + 300);
    const cli_result run = read();
    EXPECT_EQ(tally_of(run.json), sector_tally{.ok = 6144});
    const auto &file = run.json.at("files").at(0);
    EXPECT_EQ(file.at("bytes_read"), 3 * mib + 300);
    EXPECT_EQ(file.at("read_to_end"), true);
    EXPECT_TRUE(file.at("stopped_at_byte").is_null());
    EXPECT_EQ(run.json.at("read").at("bytes"), 3 * mib + 300);
    EXPECT_EQ(run.json.at("read").at("counts_agree"), true);
    EXPECT_EQ(run.json.at("report").at("volume_intact"), "YES");
    // 300 bytes without a verdict are not "everything".
    EXPECT_EQ(run.exit_status, 74);
    EXPECT_TRUE(any_contains(run.json.at("reasons"), "300 bytes")) << run.json.at("reasons");
}

TEST_F(file_lengths, partial_sector_alone_tests_nothing) {
    cut("1.fff", 511);
    const cli_result run = read();
    EXPECT_EQ(tally_of(run.json), sector_tally{});
    EXPECT_EQ(run.json.at("read").at("bytes"), 511);
    EXPECT_EQ(run.json.at("verdict"), "nothing_tested");
    EXPECT_EQ(run.exit_status, 74);
}

TEST_F(file_lengths, shorter_last_file_is_judged_to_its_end) {
    cut("1.fff", 2 * mib + 512);
    const cli_result run = read();
    EXPECT_EQ(tally_of(run.json), sector_tally{.ok = 4097});
    EXPECT_EQ(run.json.at("files").at(0).at("bytes_read"), 2 * mib + 512);
    EXPECT_EQ(run.json.at("files").at(0).at("cut_short"), false);
    EXPECT_EQ(run.exit_status, 0) << run.out;
}

TEST_F(file_lengths, longer_file_is_not_what_was_written) {
    cut("1.fff", 7 * mib);
    const cli_result run = read();
    EXPECT_EQ(tally_of(run.json), (sector_tally{.ok = 12288, .corrupted = 2048}));
    EXPECT_EQ(run.exit_status, 65);
}

TEST_F(file_lengths, empty_file_tests_nothing) {
    cut("1.fff", 0);
    const cli_result run = read();
    EXPECT_EQ(tally_of(run.json), sector_tally{});
    EXPECT_EQ(run.json.at("read").at("files"), 1);
    EXPECT_EQ(run.exit_status, 74);
}

TEST_F(file_lengths, positions_follow_file_numbers) {
    cut("1.fff", 1 * mib);
    ASSERT_EQ(run_cli({"write", m_volume->path(), "--start-at=2"}).exit_status, 0);
    cut("2.fff", 2 * mib);
    ASSERT_EQ(run_cli({"write", m_volume->path(), "--start-at=3"}).exit_status, 0);
    ASSERT_EQ(m_volume->test_files(), (std::vector<int>{1, 2, 3}));
    const std::vector<unsigned char> first = oracle_sector(2 * oracle_file_bytes);
    EXPECT_TRUE(read_bytes(m_volume->file("3.fff"), false).substr(0, first.size()) ==
                std::string(first.begin(), first.end()));

    const cli_result run = read();

    EXPECT_EQ(tally_of(run.json), sector_tally{.ok = 12288});
    EXPECT_EQ(run.json.at("read").at("bytes"), 6 * mib);
    EXPECT_EQ(run.json.at("files").at(0).at("bytes_read"), 1 * mib);
    EXPECT_EQ(run.json.at("files").at(0).at("cut_short"), true);
    EXPECT_EQ(run.json.at("files").at(1).at("cut_short"), true);
    EXPECT_EQ(run.json.at("files").at(2).at("cut_short"), false);
    EXPECT_EQ(run.json.at("report").at("volume_intact"), "YES");
    EXPECT_EQ(run.exit_status, 74);
}

TEST_F(file_lengths, renamed_file_is_overwritten_data) {
    std::filesystem::rename(m_volume->file("1.fff"), m_volume->file("2.fff"));
    const cli_result run = run_cli_with_report({"read", m_volume->path(), "--start-at=2"});
    EXPECT_EQ(tally_of(run.json), sector_tally{.overwritten = 12288});
    EXPECT_EQ(run.exit_status, 65);
    expect_oracle_agrees(*m_volume, run.json);
}
