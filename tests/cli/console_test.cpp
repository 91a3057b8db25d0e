// SPDX-License-Identifier: GPL-3.0-or-later
// Lines, the engine's own diagnostics and the status line on one terminal, and the same without a
// terminal.
#include "cli/console.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "screen.h"
#include "support.h"

using cli_tests::contains;
using cli_tests::outcome;
using cli_tests::process_options;
using cli_tests::run_body;
using cli_tests::run_body_in_terminal;
using cli_tests::screen;
using cli_tests::screen_after;

namespace {

const char erased[] = "\r\x1b[K";

process_options columns(unsigned short number) {
    process_options options;
    options.columns = number;
    return options;
}

// Prints as the engine does, through the C library.
void engine_prints(const char *out, const char *err) {
    std::fputs(out, stdout);
    std::fputs(err, stderr);
}

using lines = std::vector<std::string>;

}  // namespace

TEST(console, draws_status_line_in_place_until_end) {
    const outcome result = run_body_in_terminal([] {
        console terminal;
        terminal.show_status("Writing 1.fff      1.0 %");
        terminal.show_status("Writing 1.fff      2.0 %");
    });
    EXPECT_EQ(result.out, std::string(erased) + "Writing 1.fff      1.0 %" + erased +
                              "Writing 1.fff      2.0 %" + erased);
}

TEST(console, does_not_redraw_unchanged_status_line) {
    const outcome result = run_body_in_terminal([] {
        console terminal;
        terminal.show_status("same");
        terminal.show_status("same");
    });
    EXPECT_EQ(cli_tests::occurrences(result.out, "same"), 1U);
}

TEST(console, empty_text_removes_status_line) {
    const outcome result = run_body_in_terminal([] {
        console terminal;
        terminal.show_status("Listing test files");
        terminal.show_status("");
        terminal.print("a line\n");
    });
    const screen shown = screen_after(result.out, 80);
    EXPECT_EQ(shown.lines, lines{"a line"});
}

TEST(console, prints_lines_above_status_line) {
    const outcome result = run_body_in_terminal([] {
        console terminal;
        terminal.show_status("status");
        terminal.print("first\nsecond\n");
        terminal.show_status("status");
        terminal.print_error("an error");
        terminal.show_status("a later status");
        _exit(0);
    });
    EXPECT_EQ(screen_after(result.out, 80).lines,
              (lines{"first", "second", "an error", "a later status"}));
}

TEST(console, keeps_engine_streams_off_status_line) {
    const outcome result = run_body_in_terminal([] {
        console terminal;
        for (int i = 0; i < 50; ++i) {
            terminal.show_status("status " + std::to_string(i));
            engine_prints("to standard output\n", "to standard error\n");
            terminal.show_status("and status " + std::to_string(i));
            terminal.pass_on_streams();
        }
    });
    const screen shown = screen_after(result.out, 80);
    EXPECT_TRUE(shown.understood);
    EXPECT_EQ(shown.lines.size(), 100U) << shown.text();
    EXPECT_EQ(shown.count("to standard output"), 50U);
    EXPECT_EQ(shown.count("to standard error"), 50U);
}

TEST(console, passes_on_engine_streams_at_end) {
    const outcome result = run_body_in_terminal([] {
        console terminal;
        engine_prints("last words on output\n", "last words on error\n");
    });
    const screen shown = screen_after(result.out, 80);
    EXPECT_EQ(shown.count("last words on output"), 1U);
    EXPECT_EQ(shown.count("last words on error"), 1U);
}

TEST(console, gives_streams_back) {
    const outcome result = run_body_in_terminal([] {
        console terminal;
        terminal.show_status("status");
        terminal.release_streams();
        engine_prints("afterwards on output\n", "afterwards on error\n");
        _exit(0);
    });
    const screen shown = screen_after(result.out, 80);
    EXPECT_EQ(shown.lines, (lines{"afterwards on output", "afterwards on error"}));
}

TEST(console, ends_open_line_before_status_line) {
    const outcome result = run_body_in_terminal([] {
        console terminal;
        terminal.print("half a line");
        terminal.show_status("status");
        terminal.print("a whole line\n");
    });
    EXPECT_EQ(screen_after(result.out, 80).lines, (lines{"half a line", "a whole line"}));
}

TEST(console, prints_error_on_own_line) {
    const outcome result = run_body_in_terminal([] {
        console terminal;
        terminal.print("half a line");
        terminal.print_error("an error");
    });
    EXPECT_EQ(screen_after(result.out, 80).lines, (lines{"half a line", "an error"}));
}

TEST(console, keeps_open_lines_of_stream_or_log_apart) {
    const outcome result = run_body_in_terminal([] {
        console terminal;
        engine_prints("Write to file failed", "");
        std::fflush(stdout);
        terminal.pass_on_streams();
        terminal.print("Write to file failed");
        terminal.print_error("an error");
    });
    EXPECT_EQ(screen_after(result.out, 80).lines,
              (lines{"Write to file failed", "Write to file failed", "an error"}));
}

TEST(console, escapes_control_characters_of_all_sources) {
    const outcome result = run_body_in_terminal([] {
        console terminal;
        terminal.print("log \x1b[2J\x07\r|\n");
        terminal.print_error("error \x1b]0;title\x07|");
        engine_prints("output \x1b[31m\b|\n",
                      "stderr \x1b"
                      "c|\n");
    });
    const screen shown = screen_after(result.out, 80);
    EXPECT_TRUE(shown.understood) << shown.text();
    EXPECT_EQ(shown.count("log \\x1B[2J\\x07\\x0D|"), 1U) << shown.text();
    EXPECT_EQ(shown.count("error \\x1B]0;title\\x07|"), 1U) << shown.text();
    EXPECT_EQ(shown.count("output \\x1B[31m\\x08|"), 1U) << shown.text();
    EXPECT_EQ(shown.count("stderr \\x1Bc|"), 1U) << shown.text();
}

TEST(console, status_line_never_wraps) {
    const std::string status = "Writing 1.fff     43.2 %      12.3 MB/s    0:01:23 left";
    for (unsigned short width = 1; width <= 70; ++width) {
        const outcome result = run_body_in_terminal(
            [&] {
                console terminal;
                terminal.print("a\n");
                terminal.show_status(status);
                terminal.show_status(status + ".");
                terminal.print("b\n");
            },
            columns(width));
        EXPECT_EQ(screen_after(result.out, width).lines, (lines{"a", "b"})) << width;
    }
}

TEST(console, shows_only_whole_fields_on_narrow_terminal) {
    const outcome result = run_body_in_terminal(
        [] {
            console terminal;
            terminal.show_status("Writing 1.fff     43.2 %      12.3 MB/s    0:01:23 left");
            _exit(0);
        },
        columns(24));
    EXPECT_EQ(screen_after(result.out, 24).lines, lines{"Writing 1.fff"});
}

TEST(console, leaves_room_for_echo_of_interrupt) {
    const std::string status(200, 's');
    const outcome result = run_body_in_terminal(
        [&] {
            console terminal;
            terminal.show_status(status);
            // As the terminal echoes it, not through the console's pipe.
            const int fd = open("/dev/tty", O_WRONLY);
            EXPECT_EQ(write(fd, "^C", 2), 2);
            terminal.print("a line\n");
        },
        columns(20));
    EXPECT_EQ(screen_after(result.out, 20).lines, lines{"a line"});
}

TEST(console, assumes_eighty_columns_without_terminal_size) {
    const outcome result = run_body_in_terminal(
        [] {
            console terminal;
            terminal.show_status(std::string(200, 's'));
            _exit(0);
        },
        columns(0));
    const screen shown = screen_after(result.out, 80);
    ASSERT_EQ(shown.lines.size(), 1U);
    EXPECT_GE(shown.lines[0].size(), 70U);
}

TEST(console, shows_no_status_line_without_terminal) {
    const outcome result = run_body([] {
        console pipe;
        pipe.show_status("status");
        pipe.print("a line\n");
        pipe.show_status("another status");
        engine_prints("engine's line\n", "engine's error\n");
        pipe.pass_on_streams();
        pipe.print_error("an error");
        pipe.show_status("");
    });
    EXPECT_EQ(result.out, "a line\nengine's line\n");
    EXPECT_EQ(result.err, "engine's error\nan error\n");
}

TEST(console, changes_no_byte_without_terminal) {
    const std::string text = "\x1b[1m\t\x01\xff\n";
    const outcome result = run_body([&] {
        console pipe;
        pipe.print(text);
    });
    EXPECT_EQ(result.out, text);
}

TEST(console, keeps_order_with_engine_streams_without_terminal) {
    const outcome result = run_body([] {
        console pipe;
        std::fputs("engine\n", stdout);
        pipe.print("shell\n");
        std::fputs("engine\n", stdout);
    });
    EXPECT_EQ(result.out, "engine\nshell\nengine\n");
}

TEST(console, keeps_screen_codes_out_of_redirected_standard_error) {
    const cli_tests::private_folder folder;
    process_options options;
    options.err_file = folder.file("err");
    const outcome result = run_body_in_terminal(
        [] {
            console terminal;
            terminal.print("half a line");
            terminal.print_error("an error");
            terminal.show_status("status");
            engine_prints("", "engine's error\n");
            terminal.print_error("another error");
            terminal.print("a line\n");
        },
        options);
    EXPECT_EQ(cli_tests::file_content(options.err_file),
              "an error\nengine's error\nanother error\n");
    EXPECT_EQ(screen_after(result.out, 80).lines, (lines{"half a line", "a line"}));
}

TEST(console, keeps_error_of_first_failed_write) {
    process_options options;
    options.prepare = [] {
        const int full = open("/dev/full", O_WRONLY);
        dup2(full, STDOUT_FILENO);
    };
    const outcome result = run_body(
        [] {
            console pipe;
            pipe.print("");
            std::fprintf(stderr, "%d, ", pipe.output_error());
            pipe.print("text\n");
            pipe.print("more text\n");
            std::fprintf(stderr, "%d", pipe.output_error());
        },
        options);
    EXPECT_EQ(result.err, "0, " + std::to_string(ENOSPC));
}
