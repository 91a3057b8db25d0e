// SPDX-License-Identifier: GPL-3.0-or-later
/* Nothing here uses the engine to judge the engine, except for the wording around the three
 * facts of a broken invariant. */
#include "support.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>

#include "model/engine_log.h"
#include "model/fatal.h"

namespace model_tests {

namespace {

void replace(std::string &text, const std::string &what, const std::string &with) {
    const size_t at = text.find(what);
    ASSERT_NE(at, std::string::npos) << "'" << what << "' is missing in: " << text;
    text.replace(at, what.size(), with);
}

}  // namespace

std::string own_program_name() {
    return std::filesystem::read_symlink("/proc/self/exe").filename().string();
}

std::string assertion_line(const std::string &condition, const std::string &function,
                           const std::string &module) {
    static const std::string form =
        run_in_child([] { engine_assertion_failed("@condition@", "@function@", "@module@"); }).err;
    std::string line = form;
    replace(line, "@condition@", condition);
    replace(line, "@function@", function);
    replace(line, "@module@", module);
    return line;
}

std::string refusal_line(const std::string &message, int error) {
    return own_program_name() + ": " + message + ": " + strerror(error) + "\n";
}

void expect_assertion(const child_outcome &outcome, const std::string &condition,
                      const std::string &function, const std::string &module) {
    EXPECT_TRUE(outcome.aborted())
        << "status " << outcome.exit_status << ", signal " << outcome.signal_number;
    const std::string line = assertion_line(condition, function, module);
    EXPECT_TRUE(outcome.err.ends_with(line)) << "not at the end: " << line << outcome.err;
}

void expect_refusal(const child_outcome &outcome, const std::string &message, int error) {
    EXPECT_TRUE(outcome.exited_with(error))
        << "status " << outcome.exit_status << ", signal " << outcome.signal_number;
    EXPECT_EQ(outcome.err, refusal_line(message, error));
}

std::string drained_log() {
    const engine_log_view view = engine_log_take_view();
    return {view.text, view.length};
}

uint64_t word_at(const std::string &bytes, size_t at) {
    uint64_t word = 0;
    memcpy(&word, bytes.data() + at, sizeof word);
    return word;
}

void set_word_at(std::string &bytes, size_t at, uint64_t value) {
    memcpy(bytes.data() + at, &value, sizeof value);
}

std::string reference_sectors(uint64_t offset, size_t size) {
    constexpr size_t sector = 512;
    std::string bytes(size, '\0');
    for (size_t start = 0; start < size; start += sector) {
        set_word_at(bytes, start, offset + start);
        srand48(static_cast<long>((offset + start) & 0xFFFFFFFF));
        for (size_t at = sizeof(uint64_t); at < sector; at += sizeof(uint64_t))
            set_word_at(bytes, start + at, static_cast<uint64_t>(lrand48()));
    }
    return bytes;
}

void mount_file_with_an_error_behind(const std::string &path, size_t good_bytes) {
    /* Not mmap(): the thread sanitizer's wrapper refuses this address. */
    const bool mapped =
        good_bytes == 0 || syscall(SYS_mmap, 0L, good_bytes, PROT_READ | PROT_WRITE,
                                   MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1L, 0L) == 0;
    const int memory = open("/proc/self/mem", O_RDWR | O_CLOEXEC);
    const std::string sectors = reference_sectors(0, good_bytes);
    if (!mapped || memory < 0 ||
        pwrite(memory, sectors.data(), good_bytes, 0) != static_cast<ssize_t>(good_bytes) ||
        mount("/proc/self/mem", path.c_str(), nullptr, MS_BIND, nullptr) != 0)
        _exit(125);
    close(memory);
}

write_flow new_flow(uint64_t space_total) {
    write_flow fw = {};
    fw.space_total = space_total;
    fw.show_progress = 1;
    fw.block_size = 1024;
    fw.bpd_step = 1;
    fw.bpd = 1;
    fw.period_ms = 1000;
    fw.state = INC;
    return fw;
}

engine_write_results write_results() {
    engine_write_results results = {};
    engine_results_write(&results);
    return results;
}

engine_read_results read_results() {
    engine_read_results results = {};
    engine_results_read(&results);
    return results;
}

uint32_t random_seed() {
    const char *fixed = getenv("TROVIK_TEST_SEED");
    return fixed != nullptr ? static_cast<uint32_t>(strtoul(fixed, nullptr, 10))
                            : static_cast<uint32_t>(std::random_device{}());
}

}  // namespace model_tests
