// SPDX-License-Identifier: GPL-3.0-or-later
// Cards that disappear or lock themselves during a run: the run ends, gives the reason and names
// the test files that it leaves.
#include <gtest/gtest.h>

#include "cli_run.h"
#include "support/volumes.h"
#include "user_files.h"

using namespace system_tests;

namespace {

struct unplugging {
    const char *name;
    int error;

    friend void PrintTo(const unplugging &kind, std::ostream *out) { *out << kind.name; }
};

class unplugged : public testing::TestWithParam<unplugging> {};

}  // namespace

static void expect_left_named(const card &where, const cli_result &run) {
    EXPECT_NE(run.err.find("test files left on '" + where.path() + "': 1.fff"), std::string::npos)
        << run.err;
    EXPECT_NE(removal_command(run.err), "");
}

TEST_P(unplugged, while_writing_ends_run_with_reason) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=8M", "--unplug-after-written=100K",
                      std::string("--unplug-error=") + GetParam().name});
    const cli_result run = run_cli_with_report({"test", where.path()});
    expect_aborted_at(run, "written == fw->block_size");
    EXPECT_NE(run.out.find("Write to file " + where.file("1.fff") + " failed"), std::string::npos)
        << run.out;
    EXPECT_EQ(run.json.at("write").at("bytes"), 100 * kib);
    EXPECT_EQ(run.json.at("write").at("error").at("number"), GetParam().error);
    expect_left_named(where, run);
}

TEST_P(unplugged, inside_block_ends_run) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=8M", "--unplug-after-written=102912",
                      std::string("--unplug-error=") + GetParam().name});
    const cli_result run = run_cli_with_report({"test", where.path()});
    expect_aborted_at(run, "written == fw->block_size");
    EXPECT_EQ(run.json.at("write").at("bytes"), 100 * kib);
    expect_left_named(where, run);
}

INSTANTIATE_TEST_SUITE_P(with_each_error, unplugged,
                         testing::Values(unplugging{"ENODEV", ENODEV}, unplugging{"EIO", EIO}),
                         [](const auto &test) { return std::string(test.param.name); });

TEST(unplugged, while_reading_ends_run) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=4M", "--unplug-after-read=2M", "--unplug-error=ENODEV"});
    const cli_result run = run_cli_with_report({"test", where.path()});
    expect_aborted_at(run, "*read_all || errno == EIO");
    EXPECT_EQ(run.json.at("write").at("bytes"), 4 * mib);
    EXPECT_EQ(run.json.at("read").at("finished"), false);
    expect_left_named(where, run);
}

TEST(unplugged, empty_reader_is_reported_before_removal_fails) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=4M", "--unplug-after-read=2M", "--unplug-error=EIO"});
    const cli_result run = run_cli_with_report({"test", where.path()});

    // Reading stops as on any input/output error and is reported.
    expect_whole_report(run.json, run.out);
    const auto &file = run.json.at("files").at(0);
    EXPECT_EQ(file.at("read_to_end"), false);
    EXPECT_LE(file.at("bytes_read"), 2 * mib);
    EXPECT_EQ(tally_of(run.json).ok * oracle_sector_bytes, file.at("bytes_read"));
    EXPECT_EQ(run.json.at("verdict"), "incomplete");
    // Then the folder cannot be opened any more, which ends the engine's process with
    // its own status; the report knows of it.
    EXPECT_EQ(run.exit_status, EIO);
    EXPECT_NE(run.err.find("Can't open path " + where.path()), std::string::npos) << run.err;
    expect_left_named(where, run);
    EXPECT_EQ(run.json.at("exit_status"), EIO);
    ASSERT_TRUE(run.json.at("fatal").is_object()) << run.json.at("fatal");
    EXPECT_EQ(run.json.at("fatal").at("exit_status"), EIO);
}

TEST(unplugged, with_kept_files_keeps_verdict) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=4M", "--unplug-after-read=2M", "--unplug-error=EIO"});
    const cli_result run = run_cli_with_report({"test", where.path(), "--keep-files"});
    EXPECT_EQ(run.exit_status, 74);
    EXPECT_EQ(run.json.at("exit_status"), 74);
}

TEST(unplugged, while_writing_spares_user_files) {
    SKIP_IF_MISSING(missing_for_cards());
    // A card that is gone for its host still has its cells: they are compared with
    // themselves, for the simulated card's folders do not survive its unmounting.
    const std::vector<user_file> files = user_tree();
    const private_folder folder;
    const std::string backing = folder.path() + "/cells";
    const std::uint64_t user_bytes = user_tree_sectors(files) * oracle_sector_bytes;
    std::uint64_t exact_bytes = 0;
    for (const user_file &file : files)
        exact_bytes += file.bytes;
    const card where({"--size=24M", "--backing=" + backing,
                      "--unplug-after-written=" + std::to_string(exact_bytes + 1000 * kib)});
    const user_files users(where.path(), files);
    const std::string before = read_bytes(backing, false).substr(0, user_bytes);

    const cli_result run = run_cli_with_report({"test", where.path()});

    expect_aborted_at(run, "written == fw->block_size");
    EXPECT_EQ(run.json.at("write").at("bytes"), 1000 * kib);
    EXPECT_TRUE(read_bytes(backing, false).substr(0, user_bytes) == before);
}

TEST(unplugged, after_a_second_ends_run) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=64M", "--unplug-after=1", "--write-rate=2M"});
    const cli_result run = run_cli_with_report({"test", where.path()});
    EXPECT_EQ(run.signal_number, SIGABRT) << run.exit_status << run.err;
    ASSERT_TRUE(run.json.is_object());
    EXPECT_TRUE(run.json.at("fatal").is_object());
    expect_left_named(where, run);
}

TEST(unplugged, locked_half_way_ends_run_and_keeps_file) {
    SKIP_IF_MISSING(missing_for_cards());
    const std::vector<user_file> files = user_tree();
    std::uint64_t user_bytes = 0;
    for (const user_file &file : files)
        user_bytes += file.bytes;
    const card where({"--size=24M", "--lock-after=" + std::to_string(user_bytes + 100 * kib)});
    const user_files users(where.path(), files);

    const cli_result run = run_cli_with_report({"test", where.path()});

    expect_aborted_at(run, "written == fw->block_size");
    EXPECT_EQ(run.json.at("write").at("bytes"), 100 * kib);
    EXPECT_EQ(run.json.at("write").at("error").at("number"), EROFS);
    expect_left_named(where, run);
    // Nothing can be removed from it now; the attempt reports so.
    const process_result removed = run_removal_command(removal_command(run.err));
    EXPECT_EQ(removed.exit_status, EROFS);
    EXPECT_NE(removed.err.find("ERR: Can't remove file " + where.file("1.fff")), std::string::npos)
        << removed.err;
    EXPECT_EQ(where.test_files(), std::vector<int>{1});
    users.expect_untouched();
    // What was written can still be read and judged.
    const cli_result read = run_cli_with_report({"read", where.path()});
    EXPECT_EQ(read.exit_status, 0) << read.err;
    EXPECT_EQ(tally_of(read.json), sector_tally{.ok = 200});
}
