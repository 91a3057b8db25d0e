// SPDX-License-Identifier: GPL-3.0-or-later
/* Reading one test file back: the classes of its sectors, the preparation of its
 * descriptor, its lines in the log, its time, and the ways the reading ends. Clock and
 * medium are staged. */
#include "model/f3read.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "model/test_sector.h"
#include "staged_clock.h"
#include "support.h"

using model_tests::child_outcome;
using model_tests::drained_log;
using model_tests::expect_assertion;
using model_tests::file_content;
using model_tests::private_folder;
using model_tests::reference_sectors;
using model_tests::run_in_child;
using model_tests::set_file_content;
using model_tests::set_word_at;
using model_tests::stage;
using model_tests::word_at;

namespace {

using f3read = model_tests::staged_test;

constexpr size_t sector_bytes = SECTOR_SIZE;
constexpr size_t last_word = sector_bytes - 8;

struct validation {
    uint64_t ok = 90, corrupted = 91, changed = 92, overwritten = 93, size = 94;
    int read_all = 95;
    timeval elapsed = {0, 0};
};

validation validated(const std::string &folder, int index, uint32_t progress = 0,
                     timeval elapsed = {0, 0}) {
    validation it;
    it.elapsed = elapsed;
    f3read_validate_file(folder.c_str(), index, &it.ok, &it.corrupted, &it.changed, &it.overwritten,
                         &it.size, &it.read_all, &it.elapsed, progress);
    return it;
}

/* Swallows the newline that ends each file on standard output. */
class quiet {
 public:
    quiet() { testing::internal::CaptureStdout(); }
    ~quiet() { testing::internal::GetCapturedStdout(); }
    quiet(const quiet &) = delete;
    quiet &operator=(const quiet &) = delete;
};

validation validated_content(const std::string &content, int index = 0) {
    const private_folder folder;
    set_file_content(folder.file(std::to_string(index + 1) + ".fff"), content);
    const quiet silence;
    return validated(folder.path(), index);
}

void expect_counts(const validation &it, uint64_t ok, uint64_t corrupted, uint64_t changed,
                   uint64_t overwritten) {
    EXPECT_EQ(it.ok, ok);
    EXPECT_EQ(it.corrupted, corrupted);
    EXPECT_EQ(it.changed, changed);
    EXPECT_EQ(it.overwritten, overwritten);
}

/* A sector with `count` differing body words, the first at word `from`. */
std::string damaged(uint64_t offset, size_t count, size_t from = 1) {
    std::string sector = reference_sectors(offset, SECTOR_SIZE);
    for (size_t word = from; word < from + count; ++word)
        set_word_at(sector, word * 8, word_at(sector, word * 8) ^ 1U);
    return sector;
}

sector_class class_of(const std::string &sector, uint64_t expected) {
    return f3read_classify_sector(sector.data(), expected);
}

const std::string header = "Validating file number 1 ... ";

/* In a child, reads a file that fails after `good_bytes`. */
child_outcome read_until_the_error(const std::string &folder, size_t good_bytes) {
    return run_in_child([&] {
        set_file_content(folder + "/1.fff", "");
        model_tests::mount_file_with_an_error_behind(folder + "/1.fff", good_bytes);
        const validation it = validated(folder, 0);
        umount2((folder + "/1.fff").c_str(), MNT_DETACH);
        fprintf(stderr, "%llu %llu %llu %llu size %llu read_all %d\n",
                static_cast<unsigned long long>(it.ok),
                static_cast<unsigned long long>(it.corrupted),
                static_cast<unsigned long long>(it.changed),
                static_cast<unsigned long long>(it.overwritten),
                static_cast<unsigned long long>(it.size), it.read_all);
    });
}

}  // namespace

TEST_F(f3read, classifies_by_offset_and_up_to_3_differing_words) {
    constexpr uint64_t here = uint64_t{7} * sector_bytes;
    constexpr uint64_t elsewhere = uint64_t{8} * sector_bytes;
    EXPECT_EQ(SECTOR_TOLERANCE, 2);
    for (const size_t count : {0U, 1U, 2U, 3U, 4U, 62U, 63U}) {
        const sector_class in_place = count == 0  ? SECTOR_OK
                                      : count < 3 ? SECTOR_CHANGED
                                                  : SECTOR_CORRUPTED;
        const sector_class displaced = count < 3 ? SECTOR_OVERWRITTEN : SECTOR_CORRUPTED;
        for (size_t from = 1; from + count <= 64; ++from) {
            EXPECT_EQ(class_of(damaged(here, count, from), here), in_place) << count << " " << from;
            EXPECT_EQ(class_of(damaged(here, count, from), elsewhere), displaced) << count;
        }
    }
}

/* The engine compares groups of sectors at once; a damaged one's place and neighbours must
 * not matter. */
TEST_F(f3read, classifies_each_of_several_sectors) {
    std::mt19937 random(63);  // NOLINT(cert-msc32-c,cert-msc51-cpp): repeatable
    for (int round = 0; round < 3000; ++round) {
        const size_t count = random() % 40;
        const uint64_t first = (uint64_t{random()} << 12) + 0xFFFFE000 * (random() % 2);
        std::string row;
        std::vector<sector_class> expected;
        for (size_t i = 0; i < count; ++i) {
            const uint64_t here = first + i * SECTOR_SIZE;
            const bool sound = random() % 4 != 0;
            const size_t words = sound ? 0 : random() % 4;
            const uint64_t moved = sound || random() % 2 == 0 ? 0 : uint64_t{1} << 32;
            row += damaged(here + moved, words, 1 + random() % 60);
            expected.push_back(words > 2    ? SECTOR_CORRUPTED
                               : moved != 0 ? SECTOR_OVERWRITTEN
                               : words != 0 ? SECTOR_CHANGED
                                            : SECTOR_OK);
        }
        std::vector<sector_class> classes(count, SECTOR_CORRUPTED);
        f3read_classify_sectors(row.data(), count, first, classes.data());
        ASSERT_EQ(classes, expected) << "round " << round;
    }
}

TEST_F(f3read, counts_differing_words_anywhere) {
    std::string sector = damaged(0, 1, 1);
    set_word_at(sector, last_word, 0);
    EXPECT_EQ(class_of(sector, 0), SECTOR_CHANGED);
    set_word_at(sector, size_t{30} * 8, 0);
    EXPECT_EQ(class_of(sector, 0), SECTOR_CORRUPTED);
    EXPECT_EQ(class_of(sector, 512), SECTOR_CORRUPTED);
}

TEST_F(f3read, high_half_of_word_must_be_zero) {
    std::string sector = reference_sectors(0, SECTOR_SIZE);
    sector[44] = 1;
    EXPECT_EQ(class_of(sector, 0), SECTOR_CHANGED);
    sector[44] = 0;
    sector[511] = '\x80';
    EXPECT_EQ(class_of(sector, 0), SECTOR_CHANGED);
}

TEST_F(f3read, notices_every_single_flipped_bit) {
    const std::string sector = reference_sectors(0x40000000, SECTOR_SIZE);
    for (size_t bit = 0; bit < sector_bytes * 8; ++bit) {
        std::string flipped = sector;
        flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << (bit % 8)));
        const sector_class got = class_of(flipped, 0x40000000);
        /* The low half of the offset seeds the body; in the high half the body
         * stays right and only the place is wrong. */
        const sector_class expected = bit < 32   ? SECTOR_CORRUPTED
                                      : bit < 64 ? SECTOR_OVERWRITTEN
                                                 : SECTOR_CHANGED;
        ASSERT_EQ(got, expected) << "bit " << bit;
    }
}

TEST_F(f3read, sectors_of_one_byte_value_are_corrupted) {
    EXPECT_EQ(class_of(std::string(SECTOR_SIZE, '\0'), 0), SECTOR_CORRUPTED);
    EXPECT_EQ(class_of(std::string(SECTOR_SIZE, '\0'), 512), SECTOR_CORRUPTED);
    EXPECT_EQ(class_of(std::string(SECTOR_SIZE, '\xFF'), 0), SECTOR_CORRUPTED);
}

TEST_F(f3read, sector_from_4_gib_away_is_overwritten) {
    EXPECT_EQ(class_of(reference_sectors(0x100000000, SECTOR_SIZE), 0), SECTOR_OVERWRITTEN);
    EXPECT_EQ(class_of(reference_sectors(0, SECTOR_SIZE), 0x100000000), SECTOR_OVERWRITTEN);
}

TEST_F(f3read, classifies_at_any_alignment) {
    for (size_t shift = 0; shift < 16; ++shift) {
        const std::string moved = std::string(shift, 'x') + reference_sectors(512, SECTOR_SIZE);
        EXPECT_EQ(f3read_classify_sector(moved.data() + shift, 512), SECTOR_OK) << shift;
    }
}

/* 10,000 sectors with random changes, compared with the count of differing words here. */
TEST_F(f3read, classifies_random_damage) {
    const uint32_t seed = model_tests::random_seed();
    SCOPED_TRACE("TROVIK_TEST_SEED=" + std::to_string(seed));
    std::mt19937_64 random(seed);
    for (int round = 0; round < 10000; ++round) {
        const uint64_t offset = random() % (UINT64_C(1) << 40U) / 512 * 512;
        const uint64_t expected = random() % 2 == 0 ? offset : offset + 512 * (random() % 99 + 1);
        std::string sector = reference_sectors(offset, SECTOR_SIZE);
        for (uint64_t change = random() % 6; change > 0; --change)
            sector[8 + random() % 504] = static_cast<char>(random());
        const std::string right = reference_sectors(offset, SECTOR_SIZE);
        int differing = 0;
        for (size_t at = 8; at < SECTOR_SIZE; at += 8)
            differing += word_at(sector, at) != word_at(right, at) ? 1 : 0;
        sector_class wanted = SECTOR_CORRUPTED;
        if (differing <= 2)
            wanted = expected != offset ? SECTOR_OVERWRITTEN
                     : differing == 0   ? SECTOR_OK
                                        : SECTOR_CHANGED;
        ASSERT_EQ(class_of(sector, expected), wanted) << offset << " " << differing;
    }
}

TEST_F(f3read, reads_file_as_written_to_its_end) {
    const validation it = validated_content(reference_sectors(0, 300 * sector_bytes));
    expect_counts(it, 300, 0, 0, 0);
    EXPECT_EQ(it.size, 300 * sector_bytes);
    EXPECT_NE(it.read_all, 0);
}

TEST_F(f3read, offsets_start_at_files_own_gibibyte) {
    expect_counts(validated_content(reference_sectors(UINT64_C(6) << 30U, 2048), 6), 4, 0, 0, 0);
    expect_counts(validated_content(reference_sectors(UINT64_C(9000) << 30U, 512), 9000), 1, 0, 0,
                  0);
    expect_counts(validated_content(reference_sectors(0, 2048), 4), 0, 0, 0, 4);
}

TEST_F(f3read, counts_each_class) {
    const std::string content = damaged(0, 0) + damaged(512, 1) + damaged(1024, 2) +
                                damaged(1536, 3) + damaged(0, 0) + damaged(0, 2) +
                                std::string(512, '\0') + damaged(3584, 0) + damaged(3584, 0) +
                                damaged(0, 0) + damaged(512, 0) + damaged(0, 63);
    expect_counts(validated_content(content), 2, 3, 2, 5);
}

TEST_F(f3read, reads_but_does_not_classify_partial_last_sector) {
    const validation it = validated_content(reference_sectors(0, 1024) + std::string(100, 'x'));
    expect_counts(it, 2, 0, 0, 0);
    EXPECT_EQ(it.size, 1124U);
    EXPECT_NE(it.read_all, 0);
}

TEST_F(f3read, empty_file_has_no_sectors) {
    const validation it = validated_content("");
    expect_counts(it, 0, 0, 0, 0);
    EXPECT_EQ(it.size, 0U);
    EXPECT_NE(it.read_all, 0);
}

TEST_F(f3read, flushes_releases_reads_clock_then_reads_ahead) {
    const private_folder folder;
    set_file_content(folder.file("1.fff"), reference_sectors(0, 1024));
    const quiet silence;
    validated(folder.path(), 0, 0);
    EXPECT_EQ(stage.requests, "FRCAC");
    stage.requests.clear();
    validated(folder.path(), 0, 1);
    EXPECT_EQ(stage.requests, "FRCACCC")
        << "the clock is read after the only sector of each request";
}

TEST_F(f3read, heading_has_33_blanks_only_with_progress) {
    const private_folder folder;
    set_file_content(folder.file("1.fff"), "");
    set_file_content(folder.file("10.fff"), "");
    const quiet silence;
    validated(folder.path(), 0, 0);
    EXPECT_EQ(drained_log(), header + "\n");
    validated(folder.path(), 0, 1);
    EXPECT_EQ(drained_log(), header + std::string(33, ' ') + "\n");
    validated(folder.path(), 9, 1);
    EXPECT_EQ(drained_log(), "Validating file number 10 ... " + std::string(33, ' ') + "\n");
}

TEST_F(f3read, logs_no_counts_without_progress) {
    const private_folder folder;
    set_file_content(folder.file("1.fff"), reference_sectors(0, 10 * sector_bytes));
    stage.step_us = 1000000;
    const quiet silence;
    validated(folder.path(), 0, 0);
    EXPECT_EQ(drained_log(), header + "\n");
}

TEST_F(f3read, logs_counts_after_first_sector) {
    const private_folder folder;
    set_file_content(folder.file("1.fff"), reference_sectors(0, 10 * sector_bytes));
    stage.last = {0, 0};
    const quiet silence;
    validated(folder.path(), 0, 1);
    EXPECT_EQ(drained_log(),
              header + std::string(33, ' ') + "\n      1,        0,      0,      0\n");
}

TEST_F(f3read, logs_further_counts_after_200_milliseconds) {
    const private_folder folder;
    set_file_content(folder.file("1.fff"),
                     damaged(0, 0) + damaged(512, 1) + damaged(1024, 9) +
                         reference_sectors(3 * sector_bytes, 127 * sector_bytes) + damaged(0, 0) +
                         reference_sectors(131 * sector_bytes, 381 * sector_bytes));
    /* Start; then two times per request of 128 sectors: the first sector and 199.999 ms
     * later; 200 ms and 399 ms; 200 ms after the last line, and a clock that goes back; 200 ms
     * (truncated) after the last line, across a full second, and a moment later; then the
     * file's last sector, 199.999 ms after that line. */
    stage.times = {{10, 0},      {10, 500000}, {10, 699999}, {10, 700000}, {10, 899000},
                   {10, 900000}, {9, 0},       {11, 99999},  {11, 100000}, {11, 299998}};
    const quiet silence;
    validated(folder.path(), 0, 1);
    EXPECT_EQ(drained_log(), header + std::string(33, ' ') +
                                 "\n"
                                 "      1,        0,      0,      0\n"
                                 "    126,        1,      1,      0\n"
                                 "    253,        1,      1,      1\n"
                                 "    381,        1,      1,      1\n");
}

/* The lines are the same as if the clock were read after every sector: it is read after each
 * wait for the medium. */
TEST_F(f3read, reads_clock_twice_per_request) {
    const private_folder folder;
    set_file_content(folder.file("1.fff"), reference_sectors(0, 300 * sector_bytes));
    const quiet silence;
    validated(folder.path(), 0, 1);
    EXPECT_EQ(stage.requests,
              "FRCA"
              "CC"
              "CC"
              "CC"
              "C"
              "C");
}

TEST_F(f3read, columns_are_ok_corrupted_changed_and_overwritten) {
    const private_folder folder;
    set_file_content(folder.file("1.fff"), damaged(0, 0) + damaged(512, 3) + damaged(1024, 3) +
                                               damaged(1536, 1) + damaged(2048, 1) +
                                               damaged(2560, 1) + damaged(0, 0) + damaged(0, 0) +
                                               damaged(0, 0) + damaged(0, 0));
    stage.step_us = 200000;
    const quiet silence;
    validated(folder.path(), 0, 1);
    const std::string log = drained_log();
    EXPECT_EQ(log.substr(log.rfind('\n', log.size() - 2) + 1),
              "      1,        2,      3,      4\n");
}

TEST_F(f3read, adds_reading_time_to_total) {
    const private_folder folder;
    set_file_content(folder.file("1.fff"), reference_sectors(0, 512));
    const quiet silence;
    const auto elapsed = [&](timeval before, timeval from, timeval to) {
        stage.times = {from, to};
        const timeval after = validated(folder.path(), 0, 0, before).elapsed;
        return std::pair<long, long>{after.tv_sec, after.tv_usec};
    };
    using pair = std::pair<long, long>;
    EXPECT_EQ(elapsed({0, 0}, {100, 0}, {103, 250000}), pair(3, 250000));
    EXPECT_EQ(elapsed({5, 700000}, {100, 0}, {103, 250000}), pair(8, 950000));
    EXPECT_EQ(elapsed({5, 700000}, {100, 0}, {103, 300000}), pair(9, 0));
    EXPECT_EQ(elapsed({5, 700000}, {100, 0}, {103, 299999}), pair(8, 999999));
    EXPECT_EQ(elapsed({5, 900000}, {100, 0}, {103, 999999}), pair(9, 899999));
    EXPECT_EQ(elapsed({0, 0}, {100, 900000}, {101, 100000}), pair(1, -800000));
    EXPECT_EQ(elapsed({1, -800000}, {100, 900000}, {101, 100000}), pair(2, -1600000));
    EXPECT_EQ(elapsed({0, 0}, {100, 0}, {99, 0}), pair(-1, 0));
    EXPECT_EQ(elapsed({7, 8}, {100, 5}, {100, 5}), pair(7, 8));
}

TEST_F(f3read, prints_one_newline_after_each_file) {
    const private_folder folder;
    set_file_content(folder.file("1.fff"), reference_sectors(0, 4096));
    const child_outcome outcome = run_in_child([&] { validated(folder.path(), 0, 1); });
    EXPECT_TRUE(outcome.exited_with(0));
    EXPECT_EQ(outcome.out, "\n");
    EXPECT_EQ(outcome.err, "");
}

TEST_F(f3read, flushes_pending_output_before_file) {
    const private_folder folder;
    set_file_content(folder.file("1.fff"), "");
    const child_outcome outcome = run_in_child([&] {
        fputs("pending", stdout);
        stage.at_request = [] { _exit(66); };
        validated(folder.path(), 0, 1);
    });
    EXPECT_EQ(outcome.out, "pending");
    EXPECT_TRUE(outcome.exited_with(66));
}

TEST_F(f3read, input_output_error_is_not_fatal) {
    const private_folder folder;
    if (!model_tests::enter_private_mounts().empty())
        GTEST_SKIP() << model_tests::enter_private_mounts();
    const child_outcome middle = read_until_the_error(folder.path(), 65536);
    if (middle.exited_with(125))
        GTEST_SKIP() << "needs to map the lowest addresses and to mount over a file";
    EXPECT_EQ(middle.err, "128 0 0 0 size 65536 read_all 0\n");
    EXPECT_TRUE(middle.exited_with(0));
    EXPECT_EQ(middle.out, "\n");
    const child_outcome start = read_until_the_error(folder.path(), 0);
    EXPECT_EQ(start.err, "0 0 0 0 size 0 read_all 0\n");
    EXPECT_TRUE(start.exited_with(0));
    const child_outcome page = read_until_the_error(folder.path(), 4096);
    EXPECT_EQ(page.err, "8 0 0 0 size 4096 read_all 0\n");
}

TEST_F(f3read, any_other_error_aborts) {
    const private_folder folder;
    ASSERT_EQ(mkdir(folder.file("5.fff").c_str(), 0700), 0);
    expect_assertion(run_in_child([&] { validated(folder.path(), 4); }),
                     "*read_all || errno == EIO", "f3read_validate_file", "model/f3read");
}

TEST_F(f3read, file_that_cannot_be_opened_ends_process) {
    const private_folder folder;
    model_tests::expect_refusal(run_in_child([&] { validated(folder.path(), 2); }),
                                "ERR: Can't open file " + folder.file("3.fff"), ENOENT);
}

TEST_F(f3read, does_not_follow_symlink) {
    const private_folder folder;
    set_file_content(folder.file("users"), reference_sectors(0, 512));
    ASSERT_EQ(symlink("users", folder.file("1.fff").c_str()), 0);
    model_tests::expect_refusal(run_in_child([&] { validated(folder.path(), 0); }),
                                "ERR: Can't open file " + folder.file("1.fff"), ELOOP);
}

TEST_F(f3read, refuses_fifo_and_device_without_blocking) {
    const private_folder folder;
    ASSERT_EQ(mkfifo(folder.file("1.fff").c_str(), 0600), 0);
    const bool device =
        mknod(folder.file("2.fff").c_str(), S_IFCHR | 0600, makedev(1, 5)) == 0; /* zeros */
    for (const int index : {0, 1}) {
        if (index == 1 && !device)
            continue;
        const child_outcome outcome = run_in_child([&] { validated(folder.path(), index); });
        EXPECT_FALSE(outcome.timed_out);
        ASSERT_GE(outcome.exit_status, 0);
        EXPECT_FALSE(outcome.exited_with(0));
        model_tests::expect_refusal(
            outcome, "ERR: Can't open file " + folder.file(std::to_string(index + 1) + ".fff"),
            outcome.exit_status);
    }
}

TEST_F(f3read, leaves_hard_linked_users_file_unchanged) {
    const private_folder folder;
    set_file_content(folder.file("users"), "precious");
    ASSERT_EQ(link(folder.file("users").c_str(), folder.file("1.fff").c_str()), 0);
    EXPECT_FALSE(run_in_child([&] { validated(folder.path(), 0); }).timed_out);
    EXPECT_EQ(file_content(folder.file("users")), "precious");
}

TEST_F(f3read, failing_medium_or_clock_ends_process) {
    const private_folder folder;
    set_file_content(folder.file("1.fff"), reference_sectors(0, 512));
    const auto expect_ended_by = [&](const std::string &condition) {
        expect_assertion(run_in_child([&] { validated(folder.path(), 0, 1); }), condition,
                         "f3read_validate_file", "model/f3read");
    };
    stage.flush_answer = EIO;
    expect_ended_by("!fdatasync(fd)");
    stage = model_tests::staged();
    stage.release_answer = EINVAL;
    expect_ended_by("!posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED)");
    stage = model_tests::staged();
    stage.read_ahead_answer = EINVAL;
    expect_ended_by("!posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL)");
    stage = model_tests::staged();
    stage.clock_fails_at = 1;
    expect_ended_by("!gettimeofday(&t1, NULL)");
    stage.clock_fails_at = 2;
    expect_ended_by("!gettimeofday(&pt2, NULL)");
    stage.clock_fails_at = 3;
    expect_ended_by("!gettimeofday(&t2, NULL)");
}
