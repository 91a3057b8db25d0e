// SPDX-License-Identifier: GPL-3.0-or-later
// The file systems that cards have, each on a loop device, with user files on it.
#include <gtest/gtest.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <fstream>

#include "cli_run.h"
#include "sector_oracle.h"
#include "support/volumes.h"
#include "user_files.h"

using namespace system_tests;

namespace {

struct file_system {
    const char *name;
    std::vector<std::string> make;
    std::vector<std::string> mount;  // empty: the system's own
    const char *type;
    name_limits limits;

    friend void PrintTo(const file_system &kind, std::ostream *out) { *out << kind.name; }
};

class on_file_system : public testing::TestWithParam<file_system> {
 protected:
    static std::string missing() {
        std::vector<std::string> programs = {GetParam().make[0]};
        if (!GetParam().mount.empty())
            programs.push_back(GetParam().mount[0]);
        return missing_for_images(programs);
    }
};

}  // namespace

// ext4 keeps some of its blocks from everybody, root included; on a small volume these
// are more than one percent. Where the kernel allows it, they are freed.
static void give_up_own_reserve(const image_volume &where) {
    std::ofstream("/sys/fs/ext4/" + where.device_name() + "/reserved_clusters") << 0;
}

static std::uint64_t free_bytes(const volume &where) {
    struct statvfs facts = {};
    EXPECT_EQ(statvfs(where.path().c_str(), &facts), 0);
    return std::uint64_t{facts.f_bfree} * facts.f_frsize;
}

// What the free space before and after a run, by the file system's own account, makes
// of a run in which all that was written came back.
static int expected_status(std::uint64_t before, std::uint64_t after) {
    return after * 100 < before ? 0 : 74;
}

TEST_P(on_file_system, sound_volume_is_tested_and_cleaned) {
    SKIP_IF_MISSING(missing());
    const file_system &kind = GetParam();
    const image_volume where(36 * mib, kind.make, kind.mount, kind.type);
    if (HasFatalFailure())
        return;
    if (kind.type == std::string("ext4"))
        give_up_own_reserve(where);
    const user_files users(where.path(), user_tree(kind.limits));
    const std::uint64_t free_before = free_bytes(where);

    const cli_result run = run_cli_with_report({"test", where.path(), "--keep-files"});

    const std::uint64_t free_after = free_bytes(where);
    EXPECT_EQ(run.exit_status, expected_status(free_before, free_after)) << run.out << run.err;
    // Never the 5 % that ext4 reserves for root: the test runs as root.
    EXPECT_LT(free_after, free_before / 20);
    EXPECT_EQ(run.json.at("write").at("free_bytes_at_start"), free_before);
    EXPECT_EQ(run.json.at("write").at("free_bytes_at_end"), free_after);
    expect_whole_report(run.json, run.out);
    EXPECT_NE(run.json.at("verdict"), "data_lost");
    EXPECT_EQ(run.json.at("report").at("volume_intact"), "YES");
    EXPECT_EQ(run.json.at("write").at("end"), "full_in_file");
    EXPECT_GT(tally_of(run.json).ok, 6 * mib / oracle_sector_bytes);
    EXPECT_EQ(run.json.at("read").at("bytes"), run.json.at("write").at("bytes"));
    expect_oracle_agrees(where, run.json);
    users.expect_untouched();

    const process_result cleaned = run_cli({"clean", where.path()});
    EXPECT_EQ(cleaned.exit_status, 0) << cleaned.err;
    EXPECT_EQ(where.test_files(), std::vector<int>{});
    users.expect_untouched();
}

static const file_system ext4 = {"ext4", {"mkfs.ext4", "-q", "-F", "-m", "5"}, {}, "ext4", {}};
static const file_system exfat = {"exfat",
                                  {"mkfs.exfat"},
                                  {"mount.exfat-fuse"},
                                  "",
                                  {.utf8_only = true, .windows_names = true, .ignores_case = true}};
static const file_system ntfs = {"ntfs",
                                 {"mkfs.ntfs", "-F", "-Q", "-q"},
                                 {"ntfs-3g"},
                                 "",
                                 {.utf8_only = true, .windows_names = true}};

INSTANTIATE_TEST_SUITE_P(of_each_kind, on_file_system, testing::Values(ext4, exfat, ntfs),
                         [](const auto &test) { return std::string(test.param.name); });

// On a file system that takes 1.FFF and 1.fff for one name, a user's 1.FFF is not a
// test file: it must survive, whether the run goes around it or refuses.
TEST(file_systems, user_file_differing_only_in_case_survives) {
    SKIP_IF_MISSING(missing_for_images({exfat.make[0], exfat.mount[0]}));
    const image_volume where(8 * mib, exfat.make, exfat.mount, exfat.type);
    if (HasFatalFailure())
        return;
    const std::string words = "a user's film, not a test file";
    std::ofstream(where.file("1.FFF")) << words;
    ASSERT_TRUE(std::filesystem::exists(where.file("1.fff"))) << "not a file system of this kind";

    for (const char *command : {"test", "write", "clean"}) {
        const process_result run = run_cli({command, where.path()});
        EXPECT_TRUE(read_bytes(where.file("1.FFF"), false) == words)
            << "lost by " << command << ", exit status " << run.exit_status << "\n"
            << run.out << run.err;
        if (testing::Test::HasFailure())
            return;
    }
}

TEST(file_systems, reserved_blocks_stay_untested_for_ordinary_user) {
    SKIP_IF_MISSING(missing_for_images({ext4.make[0]}));
    if (getuid() != 0)
        GTEST_SKIP() << "only root can run the command as another user";
    constexpr uid_t user = 65534;
    const image_volume where(48 * mib, ext4.make, ext4.mount, ext4.type);
    if (HasFatalFailure())
        return;
    ASSERT_EQ(chown(where.path().c_str(), user, user), 0);
    process_options options;
    options.user = user;
    options.environment = {"HOME=/"};
    const process_result able = run_cli({"--version"}, options);
    if (able.exit_status == 127)
        GTEST_SKIP() << "an ordinary user may not reach " << TROVIK_CLI_PROGRAM;

    const process_result run = run_cli({"test", where.path(), "--keep-files", "--json=-"}, options);

    EXPECT_EQ(run.exit_status, 74) << run.err;
    const auto report = nlohmann::json::parse(run.out, nullptr, false);
    ASSERT_TRUE(report.is_object()) << run.out << run.err;
    expect_whole_report(report, run.err);
    EXPECT_EQ(report.at("verdict"), "incomplete");
    // 5 % of 48 MiB, and the report names the reason.
    EXPECT_GT(report.at("write").at("free_bytes_at_end"), 2 * mib);
    EXPECT_TRUE(any_contains(report.at("reasons"), "reserved for the super-user"))
        << report.at("reasons");
    expect_oracle_agrees(where, report);
    EXPECT_EQ(tally_of(report).corrupted, 0U);
    const process_result cleaned = run_cli({"clean", where.path()}, options);
    EXPECT_EQ(cleaned.exit_status, 0) << cleaned.err;
    EXPECT_EQ(where.test_files(), std::vector<int>{});
}
