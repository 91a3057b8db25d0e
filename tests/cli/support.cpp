// SPDX-License-Identifier: GPL-3.0-or-later
#include "support.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>

namespace cli_tests {

namespace fs = std::filesystem;

static std::vector<std::string> with_program(std::vector<std::string> words) {
    words.insert(words.begin(), TROVIK_CLI);
    return words;
}

static process_options in_terminal(process_options options) {
    options.terminal = true;
    return options;
}

process_options with_a_file_size_limit() {
    process_options options;
    options.prepare = [] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {65536, RLIM_INFINITY};
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0)
            _exit(98);
    };
    return options;
}

outcome run_cli(const std::vector<std::string> &words, const process_options &options) {
    return test_support::run_program(with_program(words), options);
}

outcome run_cli_in_terminal(const std::vector<std::string> &words, const process_options &options) {
    return run_cli(words, in_terminal(options));
}

outcome run_body_in_terminal(const std::function<void()> &body, const process_options &options) {
    return run_body(body, in_terminal(options));
}

private_variable::private_variable(const std::string &name, const std::string &value)
    : m_name(name) {
    if (const char *before = std::getenv(name.c_str()))
        m_before = before;
    setenv(name.c_str(), value.c_str(), 1);
}

private_variable::~private_variable() {
    if (m_before)
        setenv(m_name.c_str(), m_before->c_str(), 1);
    else
        unsetenv(m_name.c_str());
}

std::vector<std::string> entries(const std::string &folder) {
    std::vector<std::string> names;
    for (const fs::directory_entry &entry : fs::directory_iterator(folder))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

size_t line_count(const std::string &text) {
    return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

size_t occurrences(const std::string &text, const std::string &part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

bool contains(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

}  // namespace cli_tests
