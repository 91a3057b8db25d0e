// SPDX-License-Identifier: GPL-3.0-or-later
// One counterfeit card of each kind. Each holds user files and is then filled. The report must
// agree with the card's cells and with the kept files, and the user files must be unchanged.
//
// The cards announce 32 MiB and have 28. A test file of an earlier run takes their first 4 MiB; the
// run begins by removing it. A card that wraps to its start then loses test files and no user
// files.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "cli_run.h"
#include "sector_oracle.h"
#include "support/volumes.h"
#include "user_files.h"

using namespace system_tests;

namespace {

constexpr std::uint64_t sectors_per_mib = mib / oracle_sector_bytes;
constexpr std::uint64_t announced_sectors = 32 * sectors_per_mib;
constexpr std::uint64_t real_sectors = 28 * sectors_per_mib;
constexpr std::uint64_t gap_sectors = 4 * sectors_per_mib;
constexpr std::uint64_t lost_sectors = announced_sectors - real_sectors;

struct counterfeit {
    const char *name;
    const char *beyond;
    std::uint64_t fold_first;    // first sector and number of those that sectors past
    std::uint64_t fold_sectors;  // the real size land on; 0: they are lost
    sector_tally bad;            // the sectors that are not ok

    friend void PrintTo(const counterfeit &kind, std::ostream *out) { *out << kind.name; }
};

class counterfeit_card : public testing::TestWithParam<counterfeit> {};

}  // namespace

// Writes pattern sectors as the engine does, in pieces of 1 KiB, and flushes them; they
// stay in the host's memory.
static void write_pattern(const std::string &path, std::uint64_t bytes) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_GE(fd, 0) << path << ": " << std::strerror(errno);
    for (std::uint64_t at = 0; at < bytes; at += kib) {
        std::vector<unsigned char> block = oracle_sector(at);
        const std::vector<unsigned char> second = oracle_sector(at + oracle_sector_bytes);
        block.insert(block.end(), second.begin(), second.end());
        ASSERT_EQ(write(fd, block.data(), block.size()), static_cast<ssize_t>(kib)) << path;
    }
    EXPECT_EQ(fdatasync(fd), 0) << path;
    close(fd);
}

// The test file's sectors by the card's cells alone, without the mount: which cell
// each one landed on follows from the order of writing.
static sector_tally judge_cells(const std::string &backing, std::uint64_t file_sectors,
                                std::uint64_t user_sectors, const counterfeit &kind) {
    const std::string cells = read_bytes(backing, false);
    EXPECT_EQ(cells.size(), real_sectors * oracle_sector_bytes);
    std::vector<sector_kind> kinds;
    for (std::uint64_t sector = 0; sector < file_sectors; ++sector) {
        std::uint64_t cell = sector < gap_sectors ? sector : sector + user_sectors;
        const bool beyond = cell >= real_sectors;
        if (beyond && kind.fold_sectors == 0) {
            kinds.push_back(sector_kind::corrupted);
            continue;
        }
        if (beyond)
            cell = kind.fold_first + (cell - real_sectors) % kind.fold_sectors;
        const std::string bytes = cells.substr(cell * oracle_sector_bytes, oracle_sector_bytes);
        kinds.push_back(oracle_judge(reinterpret_cast<const unsigned char *>(bytes.data()),
                                     sector * oracle_sector_bytes));
    }
    return oracle_tally(kinds);
}

TEST_P(counterfeit_card, matches_its_cells_and_spares_user_files) {
    SKIP_IF_MISSING(missing_for_cards());
    const counterfeit &kind = GetParam();
    const private_folder folder;
    const std::string backing = folder.path() + "/cells";
    const card where({"--size=32M", "--real-size=28M", std::string("--beyond=") + kind.beyond,
                      "--backing=" + backing});
    write_pattern(where.file("1.fff"), gap_sectors * oracle_sector_bytes);
    const std::vector<user_file> files = user_tree();
    const user_files users(where.path(), files);

    const cli_result run = run_cli_with_report({"test", where.path(), "--keep-files"});

    EXPECT_EQ(run.exit_status, 65) << run.err;
    expect_whole_report(run.json, run.out);
    EXPECT_EQ(run.json.at("verdict"), "data_lost");
    const std::uint64_t tested = announced_sectors - user_tree_sectors(files);
    sector_tally expected = kind.bad;
    expected.ok = tested - kind.bad.corrupted - kind.bad.overwritten;
    EXPECT_EQ(tally_of(run.json), expected);
    EXPECT_EQ(judge_cells(backing, tested, user_tree_sectors(files), kind), expected);
    expect_oracle_agrees(where, run.json);
    users.expect_untouched();
}

INSTANTIATE_TEST_SUITE_P(
    of_each_kind, counterfeit_card,
    testing::Values(counterfeit{"wrap", "wrap", 0, real_sectors, {.overwritten = lost_sectors}},
                    // The last 1 MiB takes its own data and that of the 4 MiB behind it; the last
                    // of those five remains.
                    counterfeit{"wrap_last",
                                "wrap-last=1M",
                                real_sectors - sectors_per_mib,
                                sectors_per_mib,
                                {.overwritten = lost_sectors}},
                    counterfeit{"drop_00", "drop-00", 0, 0, {.corrupted = lost_sectors}},
                    counterfeit{"drop_ff", "drop-ff", 0, 0, {.corrupted = lost_sectors}},
                    counterfeit{"garbage", "garbage", 0, 0, {.corrupted = lost_sectors}}),
    [](const auto &test) { return std::string(test.param.name); });

static sector_tally judge_bytes(const std::string &bytes) {
    std::vector<sector_kind> kinds;
    for (std::uint64_t at = 0; at + oracle_sector_bytes <= bytes.size(); at += oracle_sector_bytes)
        kinds.push_back(
            oracle_judge(reinterpret_cast<const unsigned char *>(bytes.data() + at), at));
    return oracle_tally(kinds);
}

TEST(counterfeit, page_cache_does_not_hide_dropped_data) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=8M", "--real-size=5M", "--beyond=drop-00"});
    constexpr sector_tally all = {.ok = 8 * sectors_per_mib};
    constexpr sector_tally kept = {.ok = 5 * sectors_per_mib, .corrupted = 3 * sectors_per_mib};

    // A reader that does not reach the medium now finds no fault.
    write_pattern(where.file("1.fff"), 8 * mib);
    EXPECT_EQ(judge_bytes(read_bytes(where.file("1.fff"), false)), all);

    const cli_result read = run_cli_with_report({"read", where.path()});
    EXPECT_EQ(read.exit_status, 65) << read.err;
    EXPECT_EQ(tally_of(read.json), kept);

    const cli_result test = run_cli_with_report({"test", where.path(), "--keep-files"});
    EXPECT_EQ(test.exit_status, 65) << test.err;
    EXPECT_EQ(tally_of(test.json), kept);
    EXPECT_EQ(judge_bytes(read_bytes(where.file("1.fff"), true)), kept);
}
