// What the screen shows when lines, the engine's own diagnostics and the status
// line share a terminal; and what does not happen without one.
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

// What the engine does: through the C library, behind the console's back.
void engine_prints(const char *out, const char *err) {
    std::fputs(out, stdout);
    std::fputs(err, stderr);
}

using lines = std::vector<std::string>;

}  // namespace

TEST(console, the_status_line_is_drawn_in_place_and_erased_at_the_end) {
    const outcome result = run_body_in_terminal([] {
        console terminal;
        terminal.show_status("Writing 1.fff      1.0 %");
        terminal.show_status("Writing 1.fff      2.0 %");
    });
    EXPECT_EQ(result.out, std::string(erased) + "Writing 1.fff      1.0 %" + erased +
                              "Writing 1.fff      2.0 %" + erased);
}

TEST(console, a_status_line_that_did_not_change_is_not_drawn_again) {
    const outcome result = run_body_in_terminal([] {
        console terminal;
        terminal.show_status("same");
        terminal.show_status("same");
    });
    EXPECT_EQ(cli_tests::occurrences(result.out, "same"), 1U);
}

TEST(console, the_empty_text_removes_the_status_line) {
    const outcome result = run_body_in_terminal([] {
        console terminal;
        terminal.show_status("Listing test files");
        terminal.show_status("");
        terminal.print("a line\n");
    });
    const screen shown = screen_after(result.out, 80);
    EXPECT_EQ(shown.lines, lines{"a line"});
}

TEST(console, lines_push_the_status_line_down) {
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

TEST(console, the_engine_s_own_texts_never_mix_with_the_status_line) {
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

TEST(console, the_engine_s_texts_reach_the_terminal_also_when_nobody_asks_for_them) {
    const outcome result = run_body_in_terminal([] {
        console terminal;
        engine_prints("last words on output\n", "last words on error\n");
    });
    const screen shown = screen_after(result.out, 80);
    EXPECT_EQ(shown.count("last words on output"), 1U);
    EXPECT_EQ(shown.count("last words on error"), 1U);
}

TEST(console, released_streams_belong_to_the_process_again) {
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

TEST(console, a_line_that_is_still_open_is_finished_before_the_status_line) {
    const outcome result = run_body_in_terminal([] {
        console terminal;
        terminal.print("half a line");
        terminal.show_status("status");
        terminal.print("a whole line\n");
    });
    EXPECT_EQ(screen_after(result.out, 80).lines, (lines{"half a line", "a whole line"}));
}

TEST(console, an_error_starts_a_line_of_its_own) {
    const outcome result = run_body_in_terminal([] {
        console terminal;
        terminal.print("half a line");
        terminal.print_error("an error");
    });
    EXPECT_EQ(screen_after(result.out, 80).lines, (lines{"half a line", "an error"}));
}

TEST(console, the_engine_s_open_line_and_the_log_s_do_not_run_together) {
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

TEST(console, control_characters_of_all_three_sources_are_escaped) {
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

TEST(console, a_status_line_never_wraps) {
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

TEST(console, a_narrow_terminal_shows_whole_fields_or_none) {
    const outcome result = run_body_in_terminal(
        [] {
            console terminal;
            terminal.show_status("Writing 1.fff     43.2 %      12.3 MB/s    0:01:23 left");
            _exit(0);
        },
        columns(24));
    EXPECT_EQ(screen_after(result.out, 24).lines, lines{"Writing 1.fff"});
}

TEST(console, an_interrupt_s_echo_does_not_break_the_status_line) {
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

TEST(console, a_terminal_without_a_size_is_taken_for_eighty_columns) {
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

TEST(console, without_a_terminal_there_is_no_status_line_and_no_escape) {
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

TEST(console, without_a_terminal_every_byte_stays_as_it_is) {
    const std::string text = "\x1b[1m\t\x01\xff\n";
    const outcome result = run_body([&] {
        console pipe;
        pipe.print(text);
    });
    EXPECT_EQ(result.out, text);
}

TEST(console, without_a_terminal_a_text_stands_behind_what_the_engine_printed_before) {
    const outcome result = run_body([] {
        console pipe;
        std::fputs("engine\n", stdout);
        pipe.print("shell\n");
        std::fputs("engine\n", stdout);
    });
    EXPECT_EQ(result.out, "engine\nshell\nengine\n");
}

TEST(console, standard_error_in_a_file_gets_its_lines_and_nothing_of_the_screen) {
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

TEST(console, a_text_that_could_not_be_written_is_remembered_with_the_reason) {
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
