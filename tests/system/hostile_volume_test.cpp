// SPDX-License-Identifier: GPL-3.0-or-later
// Conditions that disturb a run: a second run, files that cannot be removed, names at their
// limits, a volume that replaces another one.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>

#include "cli_run.h"
#include "sector_oracle.h"
#include "support/volumes.h"

using namespace system_tests;

TEST(hostile_volume, refuses_second_run) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=2M", "--write-rate=1M"});
    const report_file report;
    child_process first(cli_command({"test", where.path(), report.option()}));
    ASSERT_TRUE(first.wait_for_output("Creating test file number 1", std::chrono::seconds{60}));
    first.send_signal(SIGSTOP);  // so that it is still at work, however long the others take
    for (const char *command : {"test", "write", "read", "clean"}) {
        const process_result second = run_cli({command, where.path()});
        EXPECT_EQ(second.exit_status, 77) << command << second.err;
        EXPECT_EQ(second.out, "") << command;
        EXPECT_EQ(lines_of(second.err).size(), 1U) << second.err;
        EXPECT_NE(second.err.find("another run is at work on '" + where.path() + "'"),
                  std::string::npos)
            << second.err;
    }
    first.send_signal(SIGCONT);
    EXPECT_EQ(first.wait().exit_status, 0);
    EXPECT_EQ(tally_of(report.read()), sector_tally{.ok = 2 * mib / oracle_sector_bytes});
    EXPECT_EQ(run_cli({"clean", where.path()}).exit_status, 0) << "free again";
}

TEST(hostile_volume, killed_run_releases_lock) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=1M", "--write-latency-us=300"});
    child_process first(cli_command({"test", where.path()}));
    ASSERT_TRUE(first.wait_for_output("Creating test file number 1", std::chrono::seconds{60}));
    first.send_signal(SIGKILL);
    EXPECT_EQ(first.wait().signal_number, SIGKILL);
    const cli_result second = run_cli_with_report({"test", where.path()});
    EXPECT_EQ(second.exit_status, 0) << second.err;
    EXPECT_EQ(tally_of(second.json), sector_tally{.ok = 2048});
}

namespace {

// A file that not even root can remove, as long as this lives.
class immutable_file {
 public:
    explicit immutable_file(const std::string &path)
        : m_fd(open(path.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, 0600)) {
        EXPECT_TRUE(set_immutable(true)) << path << ": " << std::strerror(errno);
    }
    ~immutable_file() {
        EXPECT_TRUE(set_immutable(false));
        close(m_fd);
    }
    immutable_file(const immutable_file &) = delete;
    immutable_file &operator=(const immutable_file &) = delete;

 private:
    bool set_immutable(bool wanted) const {
        int flags = 0;
        if (ioctl(m_fd, FS_IOC_GETFLAGS, &flags) != 0)
            return false;
        flags = wanted ? flags | FS_IMMUTABLE_FL : flags & ~FS_IMMUTABLE_FL;
        return ioctl(m_fd, FS_IOC_SETFLAGS, &flags) == 0;
    }
    const int m_fd;
};

}  // namespace

TEST(hostile_volume, immutable_file_ends_run_and_is_named) {
    SKIP_IF_MISSING(missing_for_images({"mkfs.ext4"}));
    const image_volume where(24 * mib, {"mkfs.ext4", "-q", "-F"}, {}, "ext4");
    for (const char *name : {"1.fff", "3.fff"})
        std::ofstream(where.file(name)) << "old";
    const immutable_file second(where.file("2.fff"));
    for (const char *command : {"test", "write", "clean"}) {
        const process_result run = run_cli({command, where.path()});
        EXPECT_EQ(run.exit_status, EPERM) << command;
        const std::string last = lines_of(run.err).back();
        EXPECT_EQ(last, "trovik-cli: ERR: Can't remove file " + where.file("2.fff") +
                            ": Operation not permitted");
        EXPECT_NE(run.err.find("test files left on '" + where.path() + "': 2.fff to 3.fff"),
                  std::string::npos)
            << run.err;
        EXPECT_EQ(run.out.find("Creating test file"), std::string::npos) << run.out;
        EXPECT_EQ(where.test_files(), (std::vector<int>{2, 3})) << command;
    }
    const cli_result run = run_cli_with_report({"test", where.path()});
    EXPECT_EQ(run.json.at("fatal").at("exit_status"), EPERM);
    EXPECT_EQ(run.json.at("exit_status"), EPERM);
}

TEST(hostile_volume, immutable_file_is_read_and_stays) {
    SKIP_IF_MISSING(missing_for_images({"mkfs.ext4"}));
    const image_volume where(24 * mib, {"mkfs.ext4", "-q", "-F"}, {}, "ext4");
    ASSERT_EQ(run_cli({"write", where.path()}).signal_number, 0);
    const immutable_file first(where.file("1.fff"));
    const cli_result read = run_cli_with_report({"read", where.path()});
    EXPECT_EQ(read.exit_status, 0) << read.err << "reading changes nothing";
    EXPECT_EQ(run_cli({"clean", where.path()}).exit_status, EPERM);
    EXPECT_EQ(where.test_files(), std::vector<int>{1});
}

TEST(hostile_volume, replaced_while_reading_is_no_pass) {
    SKIP_IF_MISSING(missing_for_mounts());
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=2M", "--read-rate=2M"});
    const report_file report;
    child_process run(cli_command({"test", where.path(), "--keep-files", report.option()}));
    ASSERT_TRUE(run.wait_for_output("Validating file number 1", std::chrono::seconds{60}));
    ASSERT_EQ(mount("none", where.path().c_str(), "tmpfs", 0, "size=1m"), 0);
    std::ofstream(where.file("1.fff")) << "another volume's";
    const process_result result = run.wait();
    EXPECT_EQ(read_bytes(where.file("1.fff"), false), "another volume's");
    EXPECT_EQ(where.test_files(), std::vector<int>{1});
    ASSERT_EQ(umount2(where.path().c_str(), MNT_DETACH), 0);
    EXPECT_EQ(result.exit_status, 74) << result.out << result.err;
    EXPECT_NE(result.err.find("was unmounted or replaced during the run"), std::string::npos)
        << result.err;
    EXPECT_EQ(report.read().at("verdict"), "incomplete");
}

TEST(hostile_volume, name_of_255_bytes_is_tested) {
    SKIP_IF_MISSING(missing_for_cards());
    std::string name = "x";
    while (name.size() < 255)
        name += "\xc3\xa9";
    const card where({"--size=1M"}, name);
    const cli_result run = run_cli_with_report({"test", where.path()});
    EXPECT_EQ(run.exit_status, 0) << run.err;
    EXPECT_EQ(run.json.at("volume").at("root"), where.path());
    expect_whole_report(run.json, run.out);
    EXPECT_EQ(where.test_files(), std::vector<int>{});
}

// Escape sequences, bells and line breaks stay out of a pipe's text as well where they could
// pass for lines of the report.
TEST(hostile_volume, forged_name_adds_no_report_line) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=1M"}, "x\n -  1: Volume intact .............. : YES\x1b[2J\x07");
    const cli_result run = run_cli_with_report({"test", where.path()});
    EXPECT_EQ(run.exit_status, 0) << run.err;
    for (const std::string &text : {run.out, run.err}) {
        EXPECT_EQ(text.find('\x1b'), std::string::npos) << text;
        EXPECT_EQ(text.find('\x07'), std::string::npos) << text;
    }
    size_t reports = 0;
    for (const std::string &line : lines_of(run.out))
        reports += line.find("1: Volume intact") != std::string::npos &&
                           line.find("Volume name") == std::string::npos
                       ? 1U
                       : 0U;
    EXPECT_EQ(reports, 1U) << run.out;
    EXPECT_EQ(run.json.at("volume").at("root"), where.path()) << "the document has the bytes";
}
