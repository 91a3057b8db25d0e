// SPDX-License-Identifier: GPL-3.0-or-later
// No user file is lost: random trees on several kinds of volume, while runs are killed at any
// moment, cards fail, or another program writes to the volume. Every entry that is not a test file
// stays unchanged to the bit. After a kill the next run cleans up and works.
//
// TROVIK_SEED=N in the environment replaces the tests' seeds.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <thread>

#include "cli_run.h"
#include "random_tree.h"
#include "sector_oracle.h"
#include "support/volumes.h"

using namespace system_tests;

static std::uint64_t seed_or(std::uint64_t otherwise) {
    const char *text = std::getenv("TROVIK_SEED");
    return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

namespace {

// A user program that keeps writing to a file of its own, and knows how much of it the
// volume took.
class busy_writer {
 public:
    explicit busy_writer(std::string path) : m_path(std::move(path)) {
        m_fd = open(m_path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
        EXPECT_GE(m_fd, 0) << m_path;
        m_thread = std::thread([this] { write_on(); });
    }
    ~busy_writer() { stop(); }
    busy_writer(const busy_writer &) = delete;
    busy_writer &operator=(const busy_writer &) = delete;

    // The file then has all that it took, and is the user's.
    void stop_and_expect_kept() {
        stop();
        EXPECT_TRUE(read_bytes(m_path, true) == m_written) << m_path << " is not what was written";
        std::filesystem::remove(m_path);
    }

 private:
    void write_on() {
        while (!m_stop.load(std::memory_order_relaxed)) {
            // Two sectors each, like the test's blocks: whole blocks remain free.
            std::string line = "line " + std::to_string(m_written.size()) + "\n";
            line.resize(kib, '.');
            const ssize_t taken = write(m_fd, line.data(), line.size());
            if (taken > 0)
                m_written.append(line, 0, static_cast<size_t>(taken));
            usleep(2000);
        }
    }

    void stop() {
        m_stop.store(true, std::memory_order_relaxed);
        if (m_thread.joinable()) {
            m_thread.join();
            close(m_fd);
        }
    }

    std::string m_path, m_written;
    int m_fd = -1;
    std::atomic<bool> m_stop = false;
    std::thread m_thread;
};

// A kind of sound volume.
struct kind_of_volume {
    const char *name;
    std::string (*missing)();
    std::unique_ptr<volume> (*make)();

    friend void PrintTo(const kind_of_volume &kind, std::ostream *out) { *out << kind.name; }
};

class user_files_survive : public testing::TestWithParam<kind_of_volume> {};

std::string missing_ext4() {
    return missing_for_images({"mkfs.ext4"});
}

std::unique_ptr<volume> make_tmpfs() {
    return std::make_unique<tmpfs_volume>("size=32m");
}

// Without its reserved blocks, which are more than one percent of a small volume.
std::unique_ptr<volume> make_ext4() {
    auto made = std::make_unique<image_volume>(
        12 * mib, std::vector<std::string>{"mkfs.ext4", "-q", "-F", "-m", "0"},
        std::vector<std::string>{}, "ext4");
    std::ofstream("/sys/fs/ext4/" + made->device_name() + "/reserved_clusters") << 0;
    return made;
}

std::unique_ptr<volume> make_card() {
    return std::make_unique<card>(std::vector<std::string>{"--size=6M"});
}

const kind_of_volume on_tmpfs = {"tmpfs", missing_for_mounts, make_tmpfs};
const kind_of_volume on_ext4 = {"ext4", missing_ext4, make_ext4};
const kind_of_volume on_card = {"card", missing_for_cards, make_card};

}  // namespace

static const std::string too_late = "it had ended";

// The phase in which a run was stopped, from its output.
static std::string doing(const process_result &run) {
    if (run.signal_number == 0)
        return too_late;
    if (run.out.find("Report End") != std::string::npos)
        return "cleaning up";
    if (run.out.find("Validating") != std::string::npos)
        return "reading";
    return run.out.find("Creating") != std::string::npos ? "writing" : "beginning";
}

// The next run removes the files of a killed one, tests the volume and cleans up.
static std::chrono::milliseconds expect_next_run_works(const volume &where) {
    const bool left = !where.test_files().empty();
    const process_result next = run_cli({"test", where.path()});
    EXPECT_EQ(next.exit_status, 0) << next.out << next.err;
    EXPECT_EQ(left, next.out.find("Removing old file number 1 ...") <
                        next.out.find("Creating test file number 1 ..."));
    EXPECT_EQ(where.test_files(), std::vector<int>{});
    return next.took;
}

// On a card of single sectors a test's smallest block must not find room for a half.
static void leave_whole_blocks_free(const volume &where) {
    struct statvfs facts = {};
    EXPECT_EQ(statvfs(where.path().c_str(), &facts), 0);
    if (facts.f_bfree * facts.f_frsize % kib != 0)
        std::ofstream(where.file("odd")) << "odd";
}

// Starts a run, stops it after a random time of at most `whole`, and lets the next one clean up,
// whose duration `whole` is afterwards. Returns the phase in which the run was stopped.
static std::string stop_run(const volume &where, chance &by, std::chrono::milliseconds &whole,
                            int signal_number) {
    const tree_facts before = look_at_tree(where.path(), false);
    busy_writer somebody(where.file("somebody's diary"));
    child_process run(cli_command({"test", where.path()}));
    usleep(
        static_cast<useconds_t>(by.between(0, static_cast<std::uint64_t>(whole.count()) * 1000)));
    run.send_signal(signal_number);
    const process_result ended = run.wait();
    EXPECT_TRUE(ended.signal_number == signal_number || ended.exit_status == 0 ||
                ended.exit_status == 74)
        << ended.signal_number << ended.err;
    somebody.stop_and_expect_kept();
    expect_same_tree(before, look_at_tree(where.path(), false));
    whole = expect_next_run_works(where);
    expect_same_tree(before, look_at_tree(where.path(), false));
    return doing(ended);
}

// Stops a run with each of these signals; those that come too late do not count.
// Returns how often they were stopped in each phase.
static std::map<std::string, int> stop_runs(const kind_of_volume &kind, std::uint64_t seed,
                                            const std::vector<int> &signals) {
    SCOPED_TRACE("TROVIK_SEED=" + std::to_string(seed));
    chance by(seed);
    const std::unique_ptr<volume> where = kind.make();
    make_random_tree(where->path(), by);
    leave_whole_blocks_free(*where);
    std::chrono::milliseconds whole = expect_next_run_works(*where);
    std::map<std::string, int> found;
    size_t stopped = 0;
    for (size_t tries = 0; stopped < signals.size() && tries < 3 * signals.size(); ++tries) {
        const std::string what = stop_run(*where, by, whole, signals[stopped]);
        ++found[what];
        stopped += what != too_late ? 1 : 0;
        if (testing::Test::HasFailure())
            return found;  // one is enough to look at
    }
    EXPECT_EQ(stopped, signals.size());
    return found;
}

static void print(const std::map<std::string, int> &found) {
    for (const auto &[what, times] : found)
        std::cout << "stopped while " << what << ": " << times << "\n";
}

// A card that fails beyond the user's files. It is compared with itself, cell by cell:
// a missing card shows no files.
static void fail_beyond_the_users_files(std::uint64_t seed) {
    SCOPED_TRACE("TROVIK_SEED=" + std::to_string(seed));
    chance by(seed);
    const std::string size = std::to_string(5 * mib + 1024 * by.between(0, 999));
    const std::string at = std::to_string(by.between(3 * mib, 4 * mib));
    const std::string sector = std::to_string(by.between(3 * mib / 512, 5 * mib / 512));
    const std::string fault = by.one_of(
        std::array<std::string, 7>{"--read-error=" + sector, "--write-error=" + sector,
                                   "--lock-after=" + at, "--unplug-after-written=" + at,
                                   "--unplug-after-read=" + at, "--real-size=3M", "--fsync-fails"});
    SCOPED_TRACE(fault);
    const private_folder folder;
    const std::string cells = folder.path() + "/cells";
    const card where({"--size=" + size, fault, "--unplug-error=EIO", "--backing=" + cells});
    make_random_tree(where.path(), by);
    const bool will_be_gone = fault.starts_with("--unplug");
    const tree_facts before = will_be_gone ? tree_facts() : look_at_tree(where.path(), false);
    struct statvfs facts = {};
    ASSERT_EQ(statvfs(where.path().c_str(), &facts), 0);
    const std::uint64_t used = (facts.f_blocks - facts.f_bfree) * facts.f_frsize;
    ASSERT_LT(used, 3 * mib);
    const std::string kept = read_bytes(cells, false).substr(0, used);

    run_cli({"test", where.path()});

    EXPECT_TRUE(read_bytes(cells, false).substr(0, used) == kept) << "cells of the user's files";
    if (!will_be_gone)
        expect_same_tree(before, look_at_tree(where.path(), false));
}

// A run that refuses to begin changes nothing at all, test files included.
static void refuse_for_impostors(const kind_of_volume &kind, std::uint64_t seed) {
    SCOPED_TRACE("TROVIK_SEED=" + std::to_string(seed));
    chance by(seed);
    const std::unique_ptr<volume> where = kind.make();
    make_random_tree(where->path(), by);
    std::ofstream(where->file("3000.fff")) << "an old test file";
    for (std::uint64_t impostors = by.between(1, 3); impostors > 0; --impostors) {
        const std::string name = make_impostor(where->path(), by);
        const tree_facts before = look_at_tree(where->path(), true);
        for (const char *command : {"test", "write", "clean"}) {
            const process_result run = run_cli({command, where->path()});
            EXPECT_EQ(run.exit_status, 77) << name << "\n" << run.out << run.err;
            EXPECT_EQ(run.out, "");
            expect_same_tree(before, look_at_tree(where->path(), true));
        }
    }
}

#ifdef TROVIK_LONG_TESTS

static std::vector<int> some_signals(chance by, std::uint64_t count) {
    std::vector<int> signals;
    for (; count > 0; --count)
        signals.push_back(by.one_of(std::array{SIGKILL, SIGTERM, SIGHUP}));
    return signals;
}

// 17 on each of 4 trees on each of 3 volumes: 204.
TEST_P(user_files_survive, kills_at_any_moment) {
    SKIP_IF_MISSING(GetParam().missing());
    std::map<std::string, int> found;
    for (std::uint64_t seed = seed_or(100); seed < seed_or(100) + 4 && !HasFailure(); ++seed)
        for (const auto &[what, times] : stop_runs(GetParam(), seed, std::vector<int>(17, SIGKILL)))
            found[what] += times;
    print(found);
}

TEST_P(user_files_survive, other_signals_at_any_moment) {
    SKIP_IF_MISSING(GetParam().missing());
    print(stop_runs(GetParam(), seed_or(200), some_signals(chance(200), 20)));
}

TEST_P(user_files_survive, refusals) {
    SKIP_IF_MISSING(GetParam().missing());
    for (std::uint64_t seed = seed_or(300); seed < seed_or(300) + 10; ++seed)
        refuse_for_impostors(GetParam(), seed);
}

TEST(user_files_survive_on, a_hundred_failing_cards) {
    SKIP_IF_MISSING(missing_for_cards());
    for (std::uint64_t seed = seed_or(400); seed < seed_or(400) + 100; ++seed)
        fail_beyond_the_users_files(seed);
}

INSTANTIATE_TEST_SUITE_P(on, user_files_survive, testing::Values(on_tmpfs, on_ext4, on_card),
                         [](const auto &test) { return std::string(test.param.name); });

#else

TEST_P(user_files_survive, a_few_signals) {
    SKIP_IF_MISSING(GetParam().missing());
    print(stop_runs(GetParam(), seed_or(1), {SIGKILL, SIGKILL, SIGTERM, SIGKILL, SIGHUP}));
}

TEST_P(user_files_survive, a_refusal) {
    SKIP_IF_MISSING(GetParam().missing());
    refuse_for_impostors(GetParam(), seed_or(1));
}

TEST(user_files_survive_on, a_few_failing_cards) {
    SKIP_IF_MISSING(missing_for_cards());
    for (std::uint64_t seed = seed_or(1); seed < seed_or(1) + 4; ++seed)
        fail_beyond_the_users_files(seed);
}

INSTANTIATE_TEST_SUITE_P(on, user_files_survive, testing::Values(on_card),
                         [](const auto &test) { return std::string(test.param.name); });

#endif
