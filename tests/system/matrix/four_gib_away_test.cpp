// SPDX-License-Identifier: GPL-3.0-or-later
// A sector of another test file with the same body, on real file systems. Where it lies
// is up to these, so it is put there behind everybody's back, in the card's cells.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "cell_table.h"
#include "device.h"

using namespace system_tests;

namespace {

class four_gib_away : public testing::TestWithParam<file_system> {};

}  // namespace

// Copies the data of one position of the test files over those of another.
static void copy_sector(const std::string &cells, std::uint64_t from, std::uint64_t to) {
    const auto found = find_test_data(cells);
    ASSERT_TRUE(found.contains(from) && found.contains(to)) << from << " " << to;
    std::fstream file(cells, std::ios::in | std::ios::out | std::ios::binary);
    std::vector<char> bytes(oracle_sector_bytes);
    file.seekg(static_cast<std::streamoff>(found.at(from) * oracle_sector_bytes));
    file.read(bytes.data(), oracle_sector_bytes);
    file.seekp(static_cast<std::streamoff>(found.at(to) * oracle_sector_bytes));
    file.write(bytes.data(), oracle_sector_bytes);
    file.flush();
    ASSERT_TRUE(file.good());
}

// 1.fff and 5.fff on one device; sectors of the same place in them differ in one word
// only, the position, and there only in what 4 GiB add to it.
TEST_P(four_gib_away, sector_of_other_file_is_overwritten_data) {
    table_cell cell("a sector of a file 4 GiB away", GetParam().name);
    SKIP_IF_MISSING(missing_for(GetParam()));
    const deadline until(device_cell_limit);
    const formatted_image image(GetParam(), until);
    if (HasFailure())
        return;
    const private_folder folder;
    const std::string cells = folder.path() + "/cells";
    card medium({"--image", "--size=" + std::to_string(device_bytes), "--contents=" + image.path(),
                 "--backing=" + cells});
    const watchdog guard(medium, until);
    const loop_device device(medium.file("card.img"));
    const mounted_file_system where(GetParam(), device);
    ASSERT_TRUE(where.is_mounted()) << where.refusal();
    std::ofstream(where.file("filler")) << std::string(12 * mib, 'x');
    run_cli({"write", where.path()}, until.options());
    std::filesystem::remove(where.file("filler"));
    run_cli({"write", where.path(), "--start-at=5"}, until.options());
    ASSERT_EQ(listed_files(where), std::vector<int>({1, 5}));
    settle(where, device);
    const std::uint64_t sectors = (std::filesystem::file_size(where.file("1.fff")) +
                                   std::filesystem::file_size(where.file("5.fff"))) /
                                  oracle_sector_bytes;

    copy_sector(cells, 2 * mib, 4 * oracle_file_bytes + 2 * mib);

    const cli_result run = run_cli_with_report({"read", where.path()}, until.options());
    cell.note(table_words(run));
    expect_whole_report(run.json, run.out);
    expect_counts_of(run.json, judge_kept_files(where, device));
    if (GetParam().has_checksums) {
        EXPECT_EQ(run.exit_status, 74) << run.err;
        EXPECT_FALSE(run.json.at("files").at(1).at("read_to_end"));
        return;
    }
    EXPECT_EQ(run.exit_status, 65) << run.err;
    EXPECT_EQ(tally_of(run.json), (sector_tally{.ok = sectors - 1, .overwritten = 1}));
}

INSTANTIATE_TEST_SUITE_P(image, four_gib_away, testing::ValuesIn(file_systems()),
                         [](const auto &test) { return std::string(test.param.name); });
