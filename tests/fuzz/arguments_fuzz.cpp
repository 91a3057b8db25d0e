// SPDX-License-Identifier: GPL-3.0-or-later
// The command line. A case has one word per line. The program either refuses it with one printable
// line, or accepts it with values that are in range and were given in its words.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "cli/arguments.h"
#include "fuzz.h"

using words = std::vector<std::string>;

namespace {

// Redirects a stream to a file in memory for its lifetime.
class captured_stream {
 public:
    captured_stream(FILE *stream, int fd) : m_stream(stream), m_fd(fd) {
        std::fflush(stream);
        m_before = fcntl(fd, F_DUPFD_CLOEXEC, 3);
        m_file = memfd_create("stream", MFD_CLOEXEC);
        FUZZ_REQUIRE(m_before >= 0 && m_file >= 0 && dup2(m_file, fd) >= 0);
    }
    ~captured_stream() {
        std::fflush(m_stream);
        dup2(m_before, m_fd);
        close(m_before);
        close(m_file);
    }
    captured_stream(const captured_stream &) = delete;
    captured_stream &operator=(const captured_stream &) = delete;

    std::string text() const {
        std::fflush(m_stream);
        std::string text(static_cast<size_t>(lseek(m_file, 0, SEEK_END)), '\0');
        FUZZ_REQUIRE(pread(m_file, text.data(), text.size(), 0) ==
                     static_cast<ssize_t>(text.size()));
        return text;
    }

 private:
    FILE *m_stream;
    int m_fd;
    int m_before = -1;
    int m_file = -1;
};

struct outcome {
    bool accepted = false;
    int exit_status = -1;
    cli_arguments arguments;
    std::string out;
    std::string err;
};

}  // namespace

static outcome outcome_of(const words &typed) {
    std::vector<const char *> argv = {"trovik-cli"};
    for (const std::string &word : typed)
        argv.push_back(word.c_str());
    argv.push_back(nullptr);
    outcome result;
    const captured_stream out(stdout, STDOUT_FILENO);
    const captured_stream err(stderr, STDERR_FILENO);
    result.accepted = cli_parse_arguments(static_cast<int>(argv.size()) - 1, argv.data(),
                                          result.arguments, result.exit_status);
    result.out = out.text();
    result.err = err.text();
    return result;
}

static bool is_given(const words &typed, const std::string &wanted) {
    return std::find(typed.begin(), typed.end(), wanted) != typed.end();
}

// As "--name=value", or as "--name" followed by "value".
static bool is_given(const words &typed, const std::string &name, const std::string &value) {
    const std::string in_one = std::string(name).append("=").append(value);
    for (size_t i = 0; i < typed.size(); ++i) {
        if (typed[i] == in_one || (i > 0 && typed[i - 1] == name && typed[i] == value))
            return true;
    }
    return false;
}

static bool is_flag_given(const words &typed, const std::string &name) {
    return is_given(typed, name) || is_given(typed, name + "=") || is_given(typed, name + "=true");
}

static void check_accepted(const outcome &result, const words &typed) {
    const cli_arguments &got = result.arguments;
    FUZZ_REQUIRE(result.out.empty() && result.err.empty());
    FUZZ_REQUIRE(!typed.empty() && typed[0] == cli_command_name(got.command));
    if (got.command != cli_command::info || !got.volume.empty())
        FUZZ_REQUIRE(is_given(typed, got.volume) && !got.volume.empty());
    FUZZ_REQUIRE(got.start_index >= 0 && got.start_index < 2'000'000'000);
    FUZZ_REQUIRE(got.start_index == 0 ||
                 is_given(typed, "--start-at", std::to_string(got.start_index + 1)));
    const int32_t block = got.block_size;
    FUZZ_REQUIRE(block >= 1024 && block <= 16 * 1024 * 1024 && (block & (block - 1)) == 0);
    FUZZ_REQUIRE(block == 1024 || is_given(typed, "--block-size", std::to_string(block)) ||
                 is_given(typed, "--block-size", std::to_string(block >> 10) + "K") ||
                 is_given(typed, "--block-size", std::to_string(block >> 20) + "M"));
    FUZZ_REQUIRE(!got.keep_files || is_flag_given(typed, "--keep-files"));
    FUZZ_REQUIRE(!got.force || is_flag_given(typed, "--force"));
    if (got.json)
        FUZZ_REQUIRE(!got.json->empty() && is_given(typed, "--json", *got.json));
}

static void check_refused(const outcome &result, const words &typed) {
    if (result.exit_status == 0) {  // help or the version
        FUZZ_REQUIRE(result.err.empty() && !result.out.empty());
        FUZZ_REQUIRE(std::any_of(typed.begin(), typed.end(),
                                 [](const std::string &word) { return word.starts_with('-'); }));
        return;
    }
    FUZZ_REQUIRE(result.exit_status == 64 && result.out.empty());
    FUZZ_REQUIRE(result.err.starts_with("trovik-cli: ") && result.err.ends_with("--help)\n"));
    const bool shows_controls =
        std::any_of(result.err.begin(), result.err.end() - 1, [](const char character) {
            const auto byte = static_cast<uint8_t>(character);
            return byte < 0x20 || byte == 0x7F;
        });
    FUZZ_REQUIRE(!shows_controls);
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    constexpr size_t words_max = 12;
    fuzz_input input(data, size);
    words typed;
    while (!input.empty() && typed.size() < words_max)
        typed.emplace_back(input.text_until('\n').c_str());  // arguments end at a NUL
    const outcome result = outcome_of(typed);
    if (result.accepted)
        check_accepted(result, typed);
    else
        check_refused(result, typed);
    return 0;
}
