// SPDX-License-Identifier: GPL-3.0-or-later
/* The two ways to end the process, and the host's handler. */
#include "model/fatal.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "model/platform.h"
#include "support.h"

using model_tests::child_outcome;
using model_tests::run_in_child;

namespace {

/* The handlers run in the child and print to standard output. */
void tell(const char *message, int exit_status) {
    printf("handler: %s (%d)\n", message, exit_status);
    fflush(stdout);
}

void tell_on_standard_error(const char * /*message*/, int /*exit_status*/) {
    fputs("handler first\n", stderr);
}

void fail_again(const char *message, int exit_status) {
    tell(message, exit_status);
    engine_fatal_exit(EIO, "ERR: Can't open file", "/again");
}

void break_an_invariant(const char *message, int exit_status) {
    tell(message, exit_status);
    engine_assertion_failed("second", "handler", "model/test");
}

size_t occurrences(const std::string &text, const std::string &of) {
    size_t count = 0;
    for (size_t at = text.find(of); at != std::string::npos; at = text.find(of, at + 1))
        ++count;
    return count;
}

void require_three(int value) {
    ENGINE_REQUIRE(value == 3, "model/test");
}

void require_positive(int value) {
    ENGINE_REQUIRE_AS(value > 0, "!given(words)", "model/test");
}

}  // namespace

TEST(fatal, failure_prints_program_message_and_reason_and_exits_with_error_number) {
    const child_outcome outcome =
        run_in_child([] { engine_fatal_exit(EROFS, "ERR: Can't create file", "/mnt/card/1.fff"); });
    EXPECT_TRUE(outcome.exited_with(EROFS));
    EXPECT_EQ(outcome.err, model_tests::own_program_name() +
                               ": ERR: Can't create file /mnt/card/1.fff: Read-only file system\n");
    EXPECT_EQ(outcome.out, "");
}

/* A parent process sees the low eight bits alone. A file system in user space may return any
 * number. */
TEST(fatal, error_number_without_low_bits_is_no_success) {
    const child_outcome outcome =
        run_in_child([] { engine_fatal_exit(512, "ERR: Can't open file", "/mnt/card/1.fff"); });
    EXPECT_TRUE(outcome.exited_with(EIO));
}

TEST(fatal, does_not_cut_longest_path_of_test_file) {
    const std::string path(1023, 'p');
    const child_outcome outcome =
        run_in_child([&] { engine_fatal_exit(ENOENT, "Can't open path", path.c_str()); });
    EXPECT_TRUE(outcome.exited_with(ENOENT));
    EXPECT_EQ(outcome.err, model_tests::refusal_line("Can't open path " + path, ENOENT));
}

TEST(fatal, cuts_long_path_and_not_the_reason) {
    const std::string start = model_tests::own_program_name() + ": Can't open path ";
    const std::string reason = ": " + std::string(strerror(ENAMETOOLONG)) + "\n";
    std::string longest;
    for (const size_t length : {1023U, 1400U, 1480U, 1500U, 1536U, 4095U, 100000U}) {
        const std::string path(length, 'p');
        const child_outcome outcome =
            run_in_child([&] { engine_fatal_exit(ENAMETOOLONG, "Can't open path", path.c_str()); });
        EXPECT_TRUE(outcome.exited_with(ENAMETOOLONG));
        const std::string whole = start + path + reason;
        if (outcome.err == whole)
            continue;
        longest = outcome.err;
        ASSERT_TRUE(longest.ends_with("..." + reason)) << longest;
        const size_t kept = longest.size() - start.size() - reason.size() - 3;
        EXPECT_EQ(longest, start + path.substr(0, kept) + "..." + reason);
        EXPECT_LT(kept, length);
        EXPECT_GE(kept, 1023U);
    }
    EXPECT_NE(longest, "") << "no path was cut";
}

/* A cut character would be printed as "\xNN". */
TEST(fatal, cuts_path_between_characters) {
    for (const std::string character : {"\u00E9", "\u20AC", "\U0001F4BE"}) {
        for (size_t shift = 0; shift < character.size(); ++shift) {
            std::string path(shift, 'p');
            while (path.size() < 2000)
                path += character;
            const child_outcome outcome =
                run_in_child([&] { engine_fatal_exit(EIO, "Can't open path", path.c_str()); });
            EXPECT_NE(outcome.err.find(character + "...: "), std::string::npos) << outcome.err;
            EXPECT_EQ(outcome.err.find('\\'), std::string::npos) << outcome.err;
        }
    }
}

TEST(fatal, cuts_path_that_is_not_utf8) {
    const std::string path(2000, '\x80');
    const child_outcome outcome =
        run_in_child([&] { engine_fatal_exit(EIO, "Can't open path", path.c_str()); });
    EXPECT_TRUE(outcome.err.ends_with("\\x80...: " + std::string(strerror(EIO)) + "\n"))
        << outcome.err;
}

/* Standard error is a SOCK_SEQPACKET socket, which keeps one message per call. */
TEST(fatal, writes_longest_and_most_escaped_line_with_one_call) {
    for (const std::string &path : {std::string("/mnt/1.fff"), std::string(1023, '\x1B')}) {
        int ends[2] = {-1, -1};
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
        const child_outcome outcome = run_in_child([&] {
            dup2(ends[1], STDERR_FILENO);
            engine_fatal_exit(EIO, "ERR: Can't open file", path.c_str());
        });
        EXPECT_TRUE(outcome.exited_with(EIO));
        close(ends[1]);
        std::string words(8192, '\0');
        const ssize_t length = recv(ends[0], words.data(), words.size(), 0);
        words.resize(static_cast<size_t>(length));
        EXPECT_GT(words.size(), 3 * path.size());
        EXPECT_EQ(words.substr(words.size() - 1), "\n");
        EXPECT_NE(words.find(": Input/output error\n"), std::string::npos) << words;
        char more = 0;
        EXPECT_EQ(recv(ends[0], &more, 1, 0), 0) << "a second call";
        close(ends[0]);
    }
}

TEST(fatal, prints_percent_signs_in_path_unchanged) {
    const child_outcome outcome =
        run_in_child([] { engine_fatal_exit(EACCES, "ERR: Can't open file", "/m/%s%n%d"); });
    EXPECT_EQ(outcome.err, model_tests::refusal_line("ERR: Can't open file /m/%s%n%d", EACCES));
}

TEST(fatal, broken_invariant_names_condition_function_and_module_and_aborts) {
    const child_outcome outcome =
        run_in_child([] { engine_assertion_failed("fw->erase > 0", "measure", "model/f3write"); });
    EXPECT_TRUE(outcome.aborted());
    for (const char *part : {"fw->erase > 0", "measure", "model/f3write"})
        EXPECT_NE(outcome.err.find(part), std::string::npos) << part << ": " << outcome.err;
    EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1);
}

TEST(fatal, requirement_that_holds_does_nothing) {
    require_three(3);
    require_positive(1);
}

TEST(fatal, requirement_prints_its_source_text_or_given_text) {
    model_tests::expect_assertion(run_in_child([] { require_three(4); }), "value == 3",
                                  "require_three", "model/test");
    model_tests::expect_assertion(run_in_child([] { require_positive(0); }), "!given(words)",
                                  "require_positive", "model/test");
}

TEST(fatal, handler_gets_full_message_and_exit_status) {
    const child_outcome outcome = run_in_child([] {
        engine_set_fatal_handler(tell);
        engine_fatal_exit(ENODEV, "ERR: Can't remove file", "/m/3.fff");
    });
    EXPECT_TRUE(outcome.exited_with(ENODEV));
    EXPECT_NE(outcome.out.find("ERR: Can't remove file /m/3.fff: No such device"),
              std::string::npos)
        << outcome.out;
    EXPECT_NE(outcome.out.find("(" + std::to_string(ENODEV) + ")\n"), std::string::npos);
    EXPECT_EQ(outcome.out.find('\n'), outcome.out.size() - 1);
    EXPECT_EQ(outcome.err, model_tests::refusal_line("ERR: Can't remove file /m/3.fff", ENODEV));
}

TEST(fatal, handler_gets_minus_1_before_abort) {
    const child_outcome outcome = run_in_child([] {
        engine_set_fatal_handler(tell);
        engine_assertion_failed("size > 0", "fill_buffer", "model/f3write");
    });
    EXPECT_TRUE(outcome.aborted());
    for (const char *part : {"size > 0", "fill_buffer", "model/f3write", "(-1)\n"})
        EXPECT_NE(outcome.out.find(part), std::string::npos) << part << ": " << outcome.out;
}

TEST(fatal, handler_runs_before_message_is_printed) {
    const child_outcome outcome = run_in_child([] {
        engine_set_fatal_handler(tell_on_standard_error);
        engine_fatal_exit(EIO, "ERR: Can't open file", "/x");
    });
    EXPECT_EQ(outcome.err,
              "handler first\n" + model_tests::refusal_line("ERR: Can't open file /x", EIO));
}

TEST(fatal, removed_handler_is_not_called) {
    const child_outcome outcome = run_in_child([] {
        engine_set_fatal_handler(tell);
        engine_set_fatal_handler(nullptr);
        engine_fatal_exit(EIO, "ERR: Can't open file", "/x");
    });
    EXPECT_EQ(outcome.out, "");
    EXPECT_TRUE(outcome.exited_with(EIO));
}

TEST(fatal, failing_handler_is_called_once_and_process_ends) {
    const child_outcome exiting = run_in_child([] {
        engine_set_fatal_handler(fail_again);
        engine_fatal_exit(ENOENT, "ERR: Can't create file", "/first");
    });
    EXPECT_FALSE(exiting.timed_out);
    EXPECT_FALSE(exiting.exited_with(0));
    EXPECT_EQ(occurrences(exiting.out, "handler:"), 1U) << exiting.out;
    const child_outcome aborting = run_in_child([] {
        engine_set_fatal_handler(break_an_invariant);
        engine_fatal_exit(ENOENT, "ERR: Can't create file", "/first");
    });
    EXPECT_TRUE(aborting.aborted());
    EXPECT_EQ(occurrences(aborting.out, "handler:"), 1U) << aborting.out;
}

TEST(fatal, keeps_output_printed_before_failure) {
    const child_outcome outcome = run_in_child([] {
        fputs("before\n", stdout);
        engine_fatal_exit(EIO, "ERR: Can't open file", "/x");
    });
    EXPECT_EQ(outcome.out, "before\n");
}

TEST(fatal, program_name_has_no_folder) {
    EXPECT_STREQ(program_name(), model_tests::own_program_name().c_str());
}
