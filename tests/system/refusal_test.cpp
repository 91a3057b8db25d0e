// SPDX-License-Identifier: GPL-3.0-or-later
// Refused runs: every refusal has status 77 and one line with the reason,
// and comes before anything on the volume has changed.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "cli_run.h"
#include "sector_oracle.h"
#include "support/volumes.h"

using namespace system_tests;

namespace {

class refusal : public testing::Test {
 protected:
    void SetUp() override {
        SKIP_IF_MISSING(missing_for_mounts());
        m_volume = std::make_unique<tmpfs_volume>("size=2m");
        // An old test file, which every run would begin with removing.
        std::ofstream(m_volume->file("1.fff")) << "old";
    }

    // Refused by all that write, with and without --force.
    void expect_refused(const std::vector<std::string> &words_in_reason) const {
        for (const char *command : {"test", "write", "clean"}) {
            for (const char *option : {"--start-at=1", "--force"}) {
                const process_result run = run_cli({command, m_volume->path(), option});
                expect_refused_as(run, words_in_reason);
            }
        }
        EXPECT_EQ(read_bytes(m_volume->file("1.fff"), false), "old");
    }

    static void expect_refused_as(const process_result &run,
                                  const std::vector<std::string> &words_in_reason) {
        EXPECT_EQ(run.exit_status, 77) << run.out << run.err;
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(lines_of(run.err).size(), 1U) << run.err;
        EXPECT_NE(run.err.find("--force"), std::string::npos) << run.err;
        for (const std::string &words : words_in_reason)
            EXPECT_NE(run.err.find(words), std::string::npos) << words << " in " << run.err;
    }

    std::string file(const std::string &name) const { return m_volume->file(name); }

    std::unique_ptr<tmpfs_volume> m_volume;
};

}  // namespace

TEST_F(refusal, folder_named_like_test_file) {
    std::filesystem::create_directory(file("3.fff"));
    std::ofstream(file("3.fff/inside")) << "user";
    expect_refused({"3.fff", "folder"});
    EXPECT_EQ(read_bytes(file("3.fff/inside"), false), "user");
}

TEST_F(refusal, symlink_named_like_test_file) {
    const private_folder elsewhere;
    const std::string target = elsewhere.path() + "/precious";
    std::ofstream(target) << "user";
    std::filesystem::create_symlink(target, file("2.fff"));
    expect_refused({"2.fff", "link"});
    EXPECT_TRUE(std::filesystem::is_symlink(file("2.fff")));
    EXPECT_EQ(read_bytes(target, false), "user");
}

TEST_F(refusal, dangling_symlink_named_like_test_file) {
    std::filesystem::create_symlink("nowhere", file("2.fff"));
    expect_refused({"2.fff", "link"});
    EXPECT_FALSE(std::filesystem::exists(file("nowhere")));
}

TEST_F(refusal, fifo_named_like_test_file) {
    ASSERT_EQ(mkfifo(file("4.fff").c_str(), 0600), 0);
    expect_refused({"4.fff", "FIFO"});
    EXPECT_TRUE(std::filesystem::is_fifo(file("4.fff")));
}

TEST_F(refusal, device_named_like_test_file) {
    if (mknod(file("5.fff").c_str(), S_IFCHR | 0600, makedev(1, 3)) != 0)
        GTEST_SKIP() << "this process may not make device nodes (needs CAP_MKNOD)";
    expect_refused({"5.fff", "device"});
    EXPECT_TRUE(std::filesystem::is_character_file(file("5.fff")));
}

TEST_F(refusal, socket_named_like_test_file) {
    const int bound = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    file("6.fff").copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(bound, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    close(bound);
    expect_refused({"6.fff", "socket"});
    EXPECT_TRUE(std::filesystem::is_socket(file("6.fff")));
}

TEST_F(refusal, name_that_means_another_number) {
    std::ofstream(file("01.fff")) << "user";
    std::ofstream(file("4294967297.fff")) << "user";
    expect_refused({"01.fff", "4294967297.fff"});
    EXPECT_EQ(read_bytes(file("01.fff"), false), "user");
    EXPECT_EQ(read_bytes(file("4294967297.fff"), false), "user");
}

TEST_F(refusal, ignores_other_names) {
    std::ofstream(file("0.fff")) << "user";
    std::filesystem::create_directory(file("0000.fff"));
    std::filesystem::create_directory(file("x1.fff"));
    EXPECT_EQ(run_cli({"test", m_volume->path()}).exit_status, 0);
    EXPECT_EQ(read_bytes(file("0.fff"), false), "user");
    EXPECT_TRUE(std::filesystem::is_directory(file("0000.fff")));
}

TEST_F(refusal, path_that_is_no_folder) {
    expect_refused_as(run_cli({"test", file("missing")}), {"missing"});
    expect_refused_as(run_cli({"test", file("1.fff")}), {"1.fff"});
    EXPECT_EQ(read_bytes(file("1.fff"), false), "old");
}

TEST_F(refusal, force_allows_folder_below_root) {
    const std::string folder = file("folder");
    std::filesystem::create_directory(folder);
    std::ofstream(folder + "/1.fff") << "old";
    for (const char *command : {"test", "write", "clean"})
        expect_refused_as(run_cli({command, folder}), {"folder", m_volume->path()});
    EXPECT_EQ(read_bytes(folder + "/1.fff", false), "old");

    const cli_result forced = run_cli_with_report({"test", folder, "--force", "--keep-files"});
    EXPECT_EQ(forced.exit_status, 0) << forced.err;
    EXPECT_EQ(tally_of(forced.json), oracle_tally(oracle_judge_file(folder + "/1.fff", 1)));
    EXPECT_GT(tally_of(forced.json).ok, 0U);
    // The volume's own test file is none of this run's.
    EXPECT_EQ(read_bytes(file("1.fff"), false), "old");
}

TEST_F(refusal, file_system_of_running_program) {
    // The program's own file system at a second place, where it is the root of a mount.
    // Nothing here tries --force.
    const private_folder folder(std::filesystem::path(TROVIK_CLI_PROGRAM).parent_path());
    const bind_volume where(folder.path());
    std::ofstream(where.file("1.fff")) << "old";
    for (const char *command : {"test", "write", "clean"})
        expect_refused_as(run_cli({command, where.path()}), {"lies on the file system that holds"});
    EXPECT_EQ(read_bytes(where.file("1.fff"), false), "old");
}

TEST_F(refusal, wrong_usage_has_own_status) {
    EXPECT_EQ(run_cli({"test"}).exit_status, 64);
    EXPECT_EQ(run_cli({"test", m_volume->path(), "--start-at=0"}).exit_status, 64);
    EXPECT_EQ(run_cli({"test", m_volume->path(), "--start-at=x"}).exit_status, 64);
    EXPECT_EQ(run_cli({"fill", m_volume->path()}).exit_status, 64);
    EXPECT_EQ(run_cli({"clean", m_volume->path(), "--keep-files"}).exit_status, 64);
    EXPECT_EQ(read_bytes(file("1.fff"), false), "old");
}

TEST_F(refusal, report_on_tested_volume) {
    const process_result run = run_cli({"test", m_volume->path(), "--json=" + file("report.json")});
    EXPECT_EQ(run.exit_status, 64) << run.err;
    EXPECT_EQ(read_bytes(file("1.fff"), false), "old");
    EXPECT_FALSE(std::filesystem::exists(file("report.json")));
}
