// SPDX-License-Identifier: GPL-3.0-or-later
/* Mounting and unmounting the program as a user does. */
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <string>

#include "practice_mount.h"

using test_support::process_result;

namespace {

class fuse_mount : public practice_mount {};

}  // namespace

TEST_F(fuse_mount, answers_when_command_returns_until_unmounted) {
    mount_card({"--size=1M"});
    struct stat root = {};
    struct stat below = {};
    ASSERT_EQ(stat(mount_point().c_str(), &root), 0);
    ASSERT_EQ(stat(beside("").c_str(), &below), 0);
    EXPECT_NE(root.st_dev, below.st_dev);
    EXPECT_TRUE(unmount());
    ASSERT_EQ(stat(mount_point().c_str(), &root), 0);
    EXPECT_EQ(root.st_dev, below.st_dev);
}

// The mount's line in the mount table.
static std::string mount_line(const std::string &mount_point) {
    std::ifstream table("/proc/self/mounts");
    for (std::string line; std::getline(table, line);) {
        if (line.find(" " + mount_point + " ") != std::string::npos) {
            return line;
        }
    }
    return {};
}

TEST_F(fuse_mount, shows_its_type_in_mount_table) {
    mount_card({});
    EXPECT_EQ(
        mount_line(mount_point()).find("trovik-cardsim " + mount_point() + " fuse.trovik-cardsim "),
        0U)
        << mount_line(mount_point());
}

TEST_F(fuse_mount, prints_one_line_for_missing_mount_point) {
    const process_result result = run_cardsim({beside("nowhere")});
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_EQ(result.err, "trovik-cardsim: mount point '" + beside("nowhere") +
                              "': No such file or directory\n");
}

TEST_F(fuse_mount, escapes_control_characters_of_mount_point) {
    const process_result result = run_cardsim({beside("\x1b[2J\n\x9b")});
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_EQ(result.err, "trovik-cardsim: mount point '" + beside("\\x1B[2J\\x0A\\x9B") +
                              "': No such file or directory\n");
}

TEST_F(fuse_mount, prints_one_line_for_unusable_backing_file) {
    std::ofstream(beside("backing")) << "photographs";
    const process_result result = run_cardsim({mount_point(), "--backing=" + beside("backing")});
    EXPECT_EQ(result.exit_status, 1);
    EXPECT_EQ(result.err.find("trovik-cardsim: --backing: "), 0U) << result.err;
    EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
    EXPECT_FALSE(is_mounted());
}

TEST_F(fuse_mount, wrong_usage_prints_one_line_and_exits_with_64) {
    const process_result result = run_cardsim({mount_point(), "--size=1X"});
    EXPECT_EQ(result.exit_status, 64);
    EXPECT_EQ(result.err.find("trovik-cardsim: --size: '1X' is not a size"), 0U) << result.err;
    EXPECT_FALSE(is_mounted());
}

TEST(fuse_mount_help, prints_help_on_standard_output) {
    const process_result result = run_cardsim({"--help"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_NE(result.out.find("--unplug-after-written"), std::string::npos);
}

TEST_F(fuse_mount, statfs_counts_allocated_sectors) {
    mount_card({"--size=1M"});
    struct statvfs facts = {};
    ASSERT_EQ(statvfs(mount_point().c_str(), &facts), 0);
    EXPECT_EQ(facts.f_blocks * facts.f_frsize, 1U << 20);
    EXPECT_EQ(facts.f_bavail * facts.f_frsize, 1U << 20);
    {
        const open_file file(path("a"), O_WRONLY | O_CREAT);
        ASSERT_EQ(write(file.fd(), "x", 1), 1);
        ASSERT_EQ(statvfs(mount_point().c_str(), &facts), 0);
        EXPECT_EQ(facts.f_bavail * facts.f_frsize, (1U << 20) - 512);
    }
    ASSERT_EQ(unlink(path("a").c_str()), 0);
    ASSERT_EQ(statvfs(mount_point().c_str(), &facts), 0);
    EXPECT_EQ(facts.f_bavail * facts.f_frsize, 1U << 20);
}

TEST_F(fuse_mount, statfs_can_report_false_free_space) {
    mount_card({"--size=1M", "--statfs-free=16M"});
    struct statvfs facts = {};
    ASSERT_EQ(statvfs(mount_point().c_str(), &facts), 0);
    EXPECT_EQ(facts.f_bavail * facts.f_frsize, 16U << 20);
}

TEST_F(fuse_mount, statfs_can_fail_while_files_work) {
    mount_card({"--statfs-fails"});
    struct statvfs facts = {};
    errno = 0;
    EXPECT_EQ(statvfs(mount_point().c_str(), &facts), -1);
    EXPECT_EQ(errno, EIO);
    const open_file file(path("a"), O_WRONLY | O_CREAT);
    EXPECT_EQ(write(file.fd(), "x", 1), 1);
}

TEST_F(fuse_mount, read_only_card_refuses_changes) {
    mount_card({"--read-only"});
    struct statvfs facts = {};
    ASSERT_EQ(statvfs(mount_point().c_str(), &facts), 0);
    EXPECT_NE(facts.f_flag & ST_RDONLY, 0U);
    errno = 0;
    EXPECT_EQ(open(path("a").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644), -1);
    EXPECT_EQ(errno, EROFS);
    EXPECT_EQ(mkdir(path("d").c_str(), 0755), -1);
    EXPECT_EQ(errno, EROFS);
}
