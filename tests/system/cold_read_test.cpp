// SPDX-License-Identifier: GPL-3.0-or-later
// Whole runs on files that another program keeps in the page cache: such a read does not come from
// the medium.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/loop.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "cli_run.h"
#include "support/locked_pages.h"
#include "support/volumes.h"

using namespace system_tests;
using test_support::locked_pages;

static const char doubt[] =
    "What is read now may come from the computer's memory: 1.fff cannot be released from it, "
    "4096 bytes of it stay there\n";

// Expects one line before the read phase, then verdict, JSON field and exit status.
static void expect_doubted(const process_result &run, const nlohmann::json &report) {
    EXPECT_EQ(run.exit_status, 75) << run.out << run.err;
    const size_t line = run.out.find(doubt);
    EXPECT_NE(line, std::string::npos) << run.out;
    EXPECT_EQ(run.out.find("What is read now", line + 1), std::string::npos) << run.out;
    EXPECT_GT(run.out.find("Sectors:     OK"), line);
    EXPECT_EQ(report.at("verdict"), "unproven");
    EXPECT_TRUE(report.at("read").at("may_rest_on_memory"));
}

TEST(cold_read, doubts_locked_page_until_unlocked) {
    SKIP_IF_MISSING(missing_for_images({"mkfs.ext4"}));
    const image_volume where(24 * mib, {"mkfs.ext4", "-q", "-F"}, {}, "ext4");
    run_cli({"write", where.path()});
    {
        const locked_pages locked(where.file("1.fff"));
        const cli_result run = run_cli_with_report({"read", where.path()});
        expect_doubted(run, run.json);
    }
    const cli_result run = run_cli_with_report({"read", where.path()});
    EXPECT_EQ(run.exit_status, 0) << run.out << run.err;
    EXPECT_EQ(run.out.find("What is read now"), std::string::npos) << run.out;
    EXPECT_FALSE(run.json.at("read").at("may_rest_on_memory"));
}

TEST(cold_read, doubts_page_locked_during_run) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=2M", "--write-rate=1M"});
    const report_file report;
    child_process run(cli_command({"test", where.path(), report.option()}));
    ASSERT_TRUE(run.wait_for_output(" KB/s", std::chrono::seconds{60}));
    const locked_pages locked(where.file("1.fff"));
    const process_result ended = run.wait();
    expect_doubted(ended, report.read());
}

// A file system like any other on FUSE.
TEST(cold_read, doubts_simulated_card_without_medium_is_memory) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=1M"});
    const process_result doubted =
        run_program({TROVIK_CLI_PROGRAM, "test", where.path(), "--keep-files"});
    EXPECT_EQ(doubted.exit_status, 75) << doubted.out;
    EXPECT_NE(doubted.out.find("What is read now may come from the computer's memory: a file "
                               "system of type fuse.trovik-cardsim may keep a copy in memory\n"),
              std::string::npos)
        << doubted.out;
    EXPECT_EQ(run_program({TROVIK_CLI_PROGRAM, "read", where.path()}).exit_status, 75);
    EXPECT_EQ(run_cli({"read", where.path()}).exit_status, 0);
}

namespace {

constexpr uid_t ordinary_user = 65534;

// Makes the device of a volume read past memory and open to everybody, here alone: as far as an
// ordinary user's card can be known to them.
class known_device {
 public:
    explicit known_device(const image_volume &where) : m_path("/dev/" + where.device_name()) {
        const std::string image = where.private_path() + "/image";
        EXPECT_EQ(chmod(image.c_str(), 0644), 0);
        const int loop = open(m_path.c_str(), O_RDWR | O_CLOEXEC);
        struct stat status = {};
        EXPECT_EQ(fstat(loop, &status), 0) << m_path;
        m_is_direct = ioctl(loop, LOOP_SET_DIRECT_IO, 1UL) == 0;
        close(loop);
        const std::string node = where.private_path() + "/node";
        EXPECT_EQ(mknod(node.c_str(), S_IFBLK | 0600, status.st_rdev), 0) << std::strerror(errno);
        EXPECT_EQ(chmod(node.c_str(), 0644), 0);
        EXPECT_EQ(mount(node.c_str(), m_path.c_str(), nullptr, MS_BIND, nullptr), 0)
            << std::strerror(errno);
    }
    ~known_device() { EXPECT_EQ(umount2(m_path.c_str(), MNT_DETACH), 0) << std::strerror(errno); }
    known_device(const known_device &) = delete;
    known_device &operator=(const known_device &) = delete;
    bool is_direct() const { return m_is_direct; }

 private:
    std::string m_path;
    bool m_is_direct = false;
};

process_options as_ordinary_user() {
    process_options options;
    options.user = ordinary_user;
    options.environment = {"HOME=/"};
    return options;
}

}  // namespace

TEST(cold_read, never_passes_another_users_files) {
    SKIP_IF_MISSING(missing_for_images({"mkfs.ext4"}));
    const image_volume where(24 * mib, {"mkfs.ext4", "-q", "-F", "-m", "0"}, {}, "ext4");
    const known_device device(where);
    if (!device.is_direct())
        GTEST_SKIP() << "the folder for temporary files has no direct input and output";
    if (run_cli({"info", where.path()}, as_ordinary_user()).exit_status != 0)
        GTEST_SKIP() << "an ordinary user may not reach " << TROVIK_CLI_PROGRAM;

    // All is read from memory, where it was found intact before it was lost.
    run_cli({"write", where.path()});
    ASSERT_EQ(chmod(where.file("1.fff").c_str(), 0644), 0);
    struct stat status = {};
    ASSERT_EQ(stat(where.file("1.fff").c_str(), &status), 0);
    const locked_pages locked(where.file("1.fff"), 0, static_cast<size_t>(status.st_size));
    const process_result run = run_cli({"read", where.path()}, as_ordinary_user());

    EXPECT_EQ(run.exit_status, 75) << run.out << run.err;
    EXPECT_NE(run.out.find("What is read now may come from the computer's memory: whether 1.fff is "
                           "still in memory cannot be known\n"),
              std::string::npos)
        << run.out;
    EXPECT_EQ(run_cli({"read", where.path()}).exit_status, 75) << "root knows that it is there";
}

TEST(cold_read, passes_ordinary_users_own_card) {
    SKIP_IF_MISSING(missing_for_images({"mkfs.ext4"}));
    // With extents ext4 would keep 2 % for itself.
    const image_volume where(
        24 * mib, {"mkfs.ext4", "-q", "-F", "-m", "0", "-O", "^extents,^64bit"}, {}, "ext4");
    const known_device device(where);
    if (!device.is_direct())
        GTEST_SKIP() << "the folder for temporary files has no direct input and output";
    if (run_cli({"info", where.path()}, as_ordinary_user()).exit_status != 0)
        GTEST_SKIP() << "an ordinary user may not reach " << TROVIK_CLI_PROGRAM;
    ASSERT_EQ(chown(where.path().c_str(), ordinary_user, ordinary_user), 0);

    const process_result whole =
        run_cli({"test", where.path(), "--keep-files"}, as_ordinary_user());
    const process_result again = run_cli({"read", where.path()}, as_ordinary_user());

    for (const process_result &run : {whole, again}) {
        EXPECT_EQ(run.exit_status, 0) << run.out << run.err;
        EXPECT_EQ(run.out.find("What is read now"), std::string::npos) << run.out;
    }
}
