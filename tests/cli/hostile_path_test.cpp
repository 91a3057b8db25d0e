// SPDX-License-Identifier: GPL-3.0-or-later
// No byte of a path reaches a terminal as a control code. The same holds for pipes and files, which
// may be shown in a terminal later.
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <string_view>

#include "../fuzz/utf8_model.h"
#include "support.h"

using cli_tests::contains;
using cli_tests::outcome;
using cli_tests::private_folder;
using cli_tests::private_volume;
using cli_tests::run_cli;
using cli_tests::run_cli_in_terminal;
using cli_tests::with_a_file_size_limit;

namespace {

// Short enough for a line of the engine's log.
struct hostile_name {
    const char *name;
    const char *shown;
};

const hostile_name hostile_names[] = {
    {"\x1b[2J\x7f\nx\r\\012", "\\x1B[2J\\x7F\\x0Ax\\x0D\\012"},
    {"\xc2\x9b"
     "31mX\x9b"
     "2J\xff\xc3(",
     "\\xC2\\x9B31mX\\x9B2J\\xFF\\xC3("},
    {"\u200F\u202Ex", "\\xE2\\x80\\x8F\\xE2\\x80\\xAEx"},
};

const char *const all_commands[] = {"info", "test", "write", "read", "clean"};

// The first control code or mark of direction in the text, as hex digits; empty without one.
std::string first_obeyed(std::string_view text) {
    while (!text.empty()) {
        const size_t length = utf8_model_length(text);
        const std::string_view character = text.substr(0, length == 0 ? 1 : length);
        const auto first = static_cast<unsigned char>(character[0]);
        const bool control = (first < 0x20 && first != '\n') || first == 0x7F;
        const bool c1 = length == 2 && character < "\xC2\xA0";
        const bool mark = character == "\u061C" || character == "\u200E" || character == "\u200F" ||
                          (character >= "\u202A" && character <= "\u202E" && length == 3) ||
                          (character >= "\u2066" && character <= "\u2069" && length == 3);
        if (length == 0 || control || c1 || mark)
            return ::testing::PrintToString(std::string(character));
        text.remove_prefix(length);
    }
    return {};
}

// The text without the codes of the status line and of the terminal itself.
std::string without_screen_control(std::string text) {
    for (const std::string_view own : {"\r\x1b[K", "\r"})
        for (size_t at = text.find(own); at != std::string::npos; at = text.find(own, at))
            text.erase(at, own.size());
    return text;
}

void expect_nothing_obeyed(const outcome &result) {
    EXPECT_EQ(first_obeyed(result.out), "") << ::testing::PrintToString(result.out);
    EXPECT_EQ(first_obeyed(result.err), "") << ::testing::PrintToString(result.err);
}

void expect_shown(const outcome &result, const hostile_name &each) {
    EXPECT_TRUE(contains(result.out + result.err, each.shown)) << result.out << result.err;
}

// A command that refuses the path, in pipes and in a terminal.
void expect_tame_refusal(const std::string &command, const std::string &path,
                         const hostile_name &each) {
    const outcome piped = run_cli({command, path});
    EXPECT_EQ(piped.exit_status, 77);
    EXPECT_EQ(cli_tests::line_count(piped.err), 1U) << piped.err;
    expect_nothing_obeyed(piped);
    expect_shown(piped, each);
    outcome screened = run_cli_in_terminal({command, path});
    screened.out = without_screen_control(screened.out);
    expect_nothing_obeyed(screened);
    expect_shown(screened, each);
}

}  // namespace

TEST(hostile_path, helper_finds_terminal_codes) {
    for (const char *wild :
         {"\t", "\r", "\x1b", "\x7f", "\x80", "\x9b", "\xff", "\xc3(", "\xc2\x80", "\xc2\x9f",
          "\u061C", "\u200E", "\u200F", "\u202A", "\u202E", "\u2066", "\u2069"})
        EXPECT_NE(first_obeyed("tame " + std::string(wild) + " tame"), "") << wild;
    EXPECT_EQ(first_obeyed("\n ~ \u00A0 \u00E9 \u200D \u2010 \u202F \u2065 \u206A \U0001F4BE"), "");
}

TEST(hostile_path, is_escaped_when_missing) {
    const private_folder folder;
    for (const hostile_name &each : hostile_names)
        for (const char *command : all_commands) {
            SCOPED_TRACE(command);
            expect_tame_refusal(command, folder.file(each.name), each);
        }
}

TEST(hostile_path, is_escaped_when_no_folder) {
    const private_folder folder;
    for (const hostile_name &each : hostile_names) {
        cli_tests::set_file_content(folder.file(each.name), "x");
        for (const char *command : {"test", "write", "read", "clean"}) {
            SCOPED_TRACE(command);
            expect_tame_refusal(command, folder.file(each.name), each);
        }
        expect_nothing_obeyed(run_cli({"info", folder.file(each.name)}));
    }
}

TEST(hostile_path, is_escaped_when_refused_by_guard) {
    for (const hostile_name &each : hostile_names) {
        const private_volume volume("size=1m", each.name);
        SKIP_WITHOUT(volume);
        std::filesystem::create_directories(volume.file(std::string(each.name) + "/1.fff"));
        for (const char *command : {"test", "write", "clean"}) {
            SCOPED_TRACE(command);
            expect_tame_refusal(command, volume.file(each.name), each);
        }
        expect_tame_refusal("read", volume.file(each.name), each);
    }
}

TEST(hostile_path, is_escaped_by_every_command) {
    for (const hostile_name &each : hostile_names) {
        const private_volume volume("size=1m", each.name);
        SKIP_WITHOUT(volume);
        for (const char *command : all_commands) {
            SCOPED_TRACE(command);
            const outcome result = run_cli({command, volume.path()});
            EXPECT_EQ(result.exit_status, 0) << result.err;
            expect_nothing_obeyed(result);
            if (std::string_view("info test read").find(command) != std::string_view::npos)
                expect_shown(result, each);
        }
        outcome screened = run_cli_in_terminal({"test", volume.path()});
        screened.out = without_screen_control(screened.out);
        expect_nothing_obeyed(screened);
        expect_shown(screened, each);
    }
}

// The engine reports this on standard output and in its log.
TEST(hostile_path, is_escaped_when_writing_fails) {
    for (const hostile_name &each : hostile_names) {
        const private_volume volume("size=1m", each.name);
        SKIP_WITHOUT(volume);
        const outcome result = run_cli({"write", volume.path()}, with_a_file_size_limit());
        EXPECT_EQ(result.signal_number, SIGABRT);
        expect_nothing_obeyed(result);
        EXPECT_EQ(
            cli_tests::occurrences(result.out, "Write to file " + volume.path().substr(0, 10)), 2U)
            << result.out;
        EXPECT_EQ(cli_tests::occurrences(result.out, std::string(each.shown) + "/1.fff failed"), 2U)
            << result.out;
    }
}

TEST(hostile_path, is_escaped_as_json_file) {
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    const private_folder folder;
    for (const hostile_name &each : hostile_names) {
        for (const std::string &report :
             {folder.file(each.name) + "/report", volume.file(each.name)}) {
            const outcome result = run_cli({"test", volume.path(), "--json", report});
            EXPECT_EQ(result.exit_status, 64);
            expect_nothing_obeyed(result);
            expect_shown(result, each);
        }
    }
}

TEST(hostile_path, is_escaped_as_unknown_argument) {
    for (const hostile_name &each : hostile_names) {
        const std::string wild = each.name;
        const std::vector<std::string> lines_of_words[] = {{wild},
                                                           {"--" + wild},
                                                           {"test", "/", wild},
                                                           {"test", "/", "--start-at=" + wild},
                                                           {"test", "/", "--block-size=" + wild}};
        for (const std::vector<std::string> &words : lines_of_words) {
            const outcome result = run_cli(words);
            EXPECT_EQ(result.exit_status, 64);
            expect_nothing_obeyed(result);
        }
    }
}
