// SPDX-License-Identifier: GPL-3.0-or-later
// Whole commands as a user sees them on a terminal.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <initializer_list>

#include "screen.h"
#include "support.h"

using cli_tests::contains;
using cli_tests::outcome;
using cli_tests::private_volume;
using cli_tests::process_options;
using cli_tests::run_cli_in_terminal;
using cli_tests::screen;
using cli_tests::screen_after;
using cli_tests::signal_at;
using cli_tests::with_a_file_size_limit;

namespace {

// Of the status line, while the first file is being written.
const char first_file[] = "Writing 1.fff";

// Number of lines that begin like this.
size_t lines_beginning(const screen &shown, const std::string &start) {
    size_t count = 0;
    for (const std::string &line : shown.lines)
        count += line.rfind(start, 0) == 0 ? 1U : 0U;
    return count;
}

void expect_no_status_line(const screen &shown) {
    EXPECT_TRUE(shown.understood);
    for (const char *start : {"Writing ", "Reading ", "Listing test files", "Removing test files"})
        EXPECT_EQ(lines_beginning(shown, start), 0U) << start << shown.text();
    EXPECT_FALSE(contains(shown.text(), " left\n")) << shown.text();
}

}  // namespace

TEST(run_terminal, test_leaves_whole_lines_without_status_line) {
    const private_volume volume("size=16m");
    SKIP_WITHOUT(volume);
    const outcome result = run_cli_in_terminal({"test", volume.path()});
    EXPECT_EQ(result.exit_status, 0);
    const screen shown = screen_after(result.out, 80);
    expect_no_status_line(shown);
    for (const char *line :
         {"dd: free_space: 16777216", "Free space on device: 16.00 MB",
          "Creating test file number 1 ...", "Test file written.",
          "Free space on device: 0.00 Byte", "Sectors:     OK,corrupted,changed,overwritten",
          "Validating file number 1 ...",
          "Intact: everything that was tested came back as it was written.",
          "Removing old file number 1 ..."})
        EXPECT_EQ(shown.count(line), 1U) << line << "\n" << shown.text();
    EXPECT_EQ(lines_beginning(shown, "dd: tot_"), 2U) << shown.text();
    EXPECT_EQ(shown.lines.back(), "Removing old file number 1 ...");
}

TEST(run_terminal, shows_status_line_in_both_phases) {
    const private_volume volume("size=600m");
    SKIP_WITHOUT(volume);
    const outcome result = run_cli_in_terminal({"test", volume.path()});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_TRUE(contains(result.out, "\r\x1b[KWriting 1.fff  ")) << result.out;
    EXPECT_TRUE(contains(result.out, "\r\x1b[KReading 1.fff  ")) << result.out;
    expect_no_status_line(screen_after(result.out, 80));
}

TEST(run_terminal, interrupt_leaves_clean_screen) {
    for (const unsigned short width : std::initializer_list<unsigned short>{80, 20, 0}) {
        const private_volume volume("size=3g");
        SKIP_WITHOUT(volume);
        process_options options = signal_at(first_file, SIGINT);
        options.columns = width;
        const outcome result = run_cli_in_terminal({"write", volume.path()}, options);
        EXPECT_EQ(result.signal_number, SIGINT);
        // The terminal breaks lines that are too long for it.
        const screen shown = screen_after(result.out, width == 0 ? 80 : width);
        expect_no_status_line(shown);
        const screen unbroken = screen_after(result.out, 1000);
        EXPECT_EQ(unbroken.count("trovik-cli: stopped by SIGINT"), 1U) << unbroken.text();
        EXPECT_TRUE(contains(unbroken.lines.back(), "remove them with: trovik-cli clean"))
            << unbroken.text();
    }
}

TEST(run_terminal, escapes_control_characters_of_name) {
    const private_volume volume("size=1m", "card\x1b[2J\x07\nVolume intact: NO");
    SKIP_WITHOUT(volume);
    const outcome result = run_cli_in_terminal({"test", volume.path()});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_FALSE(contains(result.out, "\x1b[2J"));
    EXPECT_FALSE(contains(result.out, "\x07"));
    EXPECT_TRUE(screen_after(result.out, 80).understood);
}

// However a run ends.
static void expect_tame(const std::string &text) {
    for (const char *wild : {"\x1b[2J", "\x07", "\xc2\x9b"})
        EXPECT_FALSE(contains(text, wild)) << text;
    EXPECT_TRUE(screen_after(text, 1000).understood) << text;
}

static const char wild_name[] =
    "card\x1b[2J\x07\xc2\x9b"
    "2J\nVolume intact: YES";

TEST(run_terminal, escapes_name_when_write_fails) {
    const private_volume volume("size=1m", wild_name);
    SKIP_WITHOUT(volume);
    const outcome result = run_cli_in_terminal({"test", volume.path()}, with_a_file_size_limit());
    EXPECT_EQ(result.signal_number, SIGABRT);
    EXPECT_TRUE(contains(result.out, "Write to file ")) << result.out;
    EXPECT_TRUE(contains(result.out, "remove them with: trovik-cli clean $'")) << result.out;
    expect_tame(result.out);
}

// In the engine's own last line, too.
TEST(run_terminal, escapes_name_when_removal_fails) {
    const private_volume volume("size=1m", wild_name);
    SKIP_WITHOUT(volume);
    cli_tests::set_file_content(volume.file("1.fff"), "old");
    const int fd = open(volume.file("1.fff").c_str(), O_RDONLY | O_CLOEXEC);
    int flags = FS_IMMUTABLE_FL;
    if (ioctl(fd, FS_IOC_SETFLAGS, &flags) != 0) {
        close(fd);
        GTEST_SKIP() << "files in memory cannot be made immutable here";
    }
    const outcome result = run_cli_in_terminal({"clean", volume.path()});
    flags = 0;
    EXPECT_EQ(ioctl(fd, FS_IOC_SETFLAGS, &flags), 0);
    close(fd);
    EXPECT_EQ(result.exit_status, EPERM);
    EXPECT_TRUE(contains(result.out, "ERR: Can't remove file ")) << result.out;
    EXPECT_TRUE(contains(result.out, "\\xC2\\x9B2J\\x0AVolume intact: YES/1.fff: ")) << result.out;
    expect_tame(result.out);
}

TEST(run_terminal, escapes_name_when_run_is_stopped) {
    const private_volume volume("size=3g", wild_name);
    SKIP_WITHOUT(volume);
    const outcome result =
        run_cli_in_terminal({"write", volume.path()}, signal_at(first_file, SIGTERM));
    EXPECT_EQ(result.signal_number, SIGTERM);
    expect_tame(result.out);
}

TEST(run_terminal, prints_json_last_in_one_piece) {
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    const outcome result = run_cli_in_terminal({"read", volume.path(), "--json=-"});
    EXPECT_EQ(result.exit_status, 74);
    const screen shown = screen_after(result.out, 1000);
    EXPECT_EQ(shown.count("{"), 1U) << shown.text();
    EXPECT_EQ(shown.lines.back(), "}");
    EXPECT_EQ(shown.count("Nothing tested: this run says nothing about the volume."), 1U)
        << shown.text();
}
