// SPDX-License-Identifier: GPL-3.0-or-later
/* Test file names, the listing of a folder, and the start argument. */
#include "model/utils.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

#include "support.h"

using model_tests::child_outcome;
using model_tests::expect_assertion;
using model_tests::private_folder;
using model_tests::run_in_child;
using model_tests::set_file_content;

namespace {

std::vector<int> listed(const std::string &path, int start_at) {
    int *files = ls_my_files(path.c_str(), start_at);
    std::vector<int> result;
    for (const int *each = files; *each >= 0; ++each)
        result.push_back(*each);
    const size_t count = result.size();
    EXPECT_EQ(files[count], -1);
    free(files);
    return result;
}

std::vector<int> listed_names(const std::vector<std::string> &names, int start_at) {
    const private_folder folder;
    for (const std::string &name : names)
        set_file_content(folder.file(name), "");
    return listed(folder.path(), start_at);
}

std::string full_name(const std::string &path, int index) {
    char full[ENGINE_PATH_MAX];
    const char *name = nullptr;
    full_fn_from_number(full, &name, path.c_str(), index);
    EXPECT_EQ(name, full + path.size() + 1);
    return full;
}

using indexes = std::vector<int>;

}  // namespace

TEST(utils, path_is_folder_slash_number_and_suffix) {
    EXPECT_EQ(full_name("/mnt/card", 0), "/mnt/card/1.fff");
    EXPECT_EQ(full_name("/mnt/card", 9), "/mnt/card/10.fff");
    EXPECT_EQ(full_name("/mnt/card", 2147483646), "/mnt/card/2147483647.fff");
}

TEST(utils, folder_with_trailing_slash_gives_doubled_slash) {
    EXPECT_EQ(full_name("/mnt/", 0), "/mnt//1.fff");
}

TEST(utils, empty_folder_gives_slash_and_name) {
    EXPECT_EQ(full_name("", 3), "/4.fff");
}

TEST(utils, number_of_last_index_wraps) {
    EXPECT_EQ(full_name("d", 2147483647), "d/-2147483648.fff");
}

TEST(utils, path_of_1024_bytes_ends_process) {
    EXPECT_EQ(ENGINE_PATH_MAX, 1024);
    const std::string longest(1023 - 6, 'p');
    EXPECT_EQ(full_name(longest, 0), longest + "/1.fff");
    const child_outcome outcome = run_in_child([&] { full_name(longest, 9); });
    expect_assertion(outcome,
                     "snprintf(full_fn, PATH_MAX, \"%s/%i.fff\", path, num + 1) < PATH_MAX",
                     "full_fn_from_number", "model/utils");
    expect_assertion(run_in_child([&] { full_name(longest + "p", 0); }),
                     "snprintf(full_fn, PATH_MAX, \"%s/%i.fff\", path, num + 1) < PATH_MAX",
                     "full_fn_from_number", "model/utils");
}

TEST(utils, name_of_test_file_is_digits_and_suffix) {
    for (const char *name : {"1.fff", "10.fff", "0.fff", "007.fff", "01.fff", "4294967297.fff",
                             "99999999999999999999999999.fff", "9.fff"})
        EXPECT_EQ(is_my_file(name), 1) << name;
    for (const char *name :
         {"",          ".",         "..",      "1",      "1.",    "1.f",    "1.ff",   "1.fffx",
          "1.fff ",    "1.fff.old", "3.FFF",   "1.Fff",  "1.ffF", "-1.fff", "+1.fff", " 1.fff",
          "a.fff",     ".fff",      "fff",     "1fff",   "1,fff", "1..fff", "1 .fff", "1a.fff",
          "notes.fff", "1.fff\n",   "0x1.fff", "/1.fff", ":.fff"})
        EXPECT_EQ(is_my_file(name), 0) << name;
    EXPECT_EQ(is_my_file(nullptr), 0);
}

TEST(utils, accepts_only_ascii_digits) {
    EXPECT_EQ(is_my_file("\xC2\xB2.fff"), 0);
    EXPECT_EQ(is_my_file("\xD9\xA1.fff"), 0);
    EXPECT_EQ(is_my_file("1\xB2.fff"), 0);
}

TEST(utils, reads_number_from_name) {
    EXPECT_EQ(number_from_filename("1.fff"), 1);
    EXPECT_EQ(number_from_filename("0.fff"), 0);
    EXPECT_EQ(number_from_filename("007.fff"), 7);
    EXPECT_EQ(number_from_filename("2147483647.fff"), 2147483647);
}

TEST(utils, numbers_wrap_at_32_bits) {
    EXPECT_EQ(number_from_filename("2147483648.fff"), -2147483647 - 1);
    EXPECT_EQ(number_from_filename("4294967295.fff"), -1);
    EXPECT_EQ(number_from_filename("4294967296.fff"), 0);
    EXPECT_EQ(number_from_filename("4294967297.fff"), 1);
    EXPECT_EQ(number_from_filename("99999999999999999999.fff"), 1661992959);
}

TEST(utils, number_of_other_name_ends_process) {
    for (const char *name : {"notes.txt", "3.FFF", "", "1.fff.old"})
        expect_assertion(run_in_child([&] { number_from_filename(name); }), "is_my_file(filename)",
                         "number_from_filename", "model/utils");
}

TEST(utils, lists_only_test_files_in_ascending_order) {
    EXPECT_EQ(listed_names({"2.fff", "10.fff", "1.fff", "notes.txt", "3.FFF", "4.fff.old"}, 0),
              (indexes{0, 1, 9}));
}

TEST(utils, lists_in_same_order_for_any_order_of_folder) {
    std::vector<std::string> rising;
    std::vector<std::string> falling;
    indexes expected;
    for (int index = 0; index < 300; ++index) {
        rising.push_back(std::to_string(index + 1) + ".fff");
        falling.push_back(std::to_string(300 - index) + ".fff");
        expected.push_back(index);
    }
    EXPECT_EQ(listed_names(rising, 0), expected);
    EXPECT_EQ(listed_names(falling, 0), expected);
}

TEST(utils, empty_folder_gives_only_end_mark) {
    EXPECT_EQ(listed_names({}, 0), indexes{});
    EXPECT_EQ(listed_names({"a", "1.FFF"}, 0), indexes{});
}

TEST(utils, lists_no_files_below_start) {
    EXPECT_EQ(listed_names({"1.fff", "2.fff", "3.fff"}, 2), indexes{2});
    EXPECT_EQ(listed_names({"1.fff", "2.fff", "3.fff"}, 3), indexes{});
    EXPECT_EQ(listed_names({"1.fff", "2.fff", "3.fff"}, 1), (indexes{1, 2}));
}

TEST(utils, never_lists_number_0) {
    EXPECT_EQ(listed_names({"0.fff", "1.fff", "000.fff"}, 0), indexes{0});
}

TEST(utils, lists_index_twice_for_leading_zeros) {
    EXPECT_EQ(listed_names({"01.fff", "1.fff"}, 0), (indexes{0, 0}));
    EXPECT_EQ(listed_names({"01.fff"}, 0), indexes{0});
}

TEST(utils, lists_wrapped_number) {
    EXPECT_EQ(listed_names({"4294967299.fff", "4294967295.fff", "2147483648.fff"}, 0), indexes{2});
    EXPECT_EQ(listed_names({"2147483647.fff", "1.fff"}, 0), (indexes{0, 2147483646}));
}

TEST(utils, lists_folder_named_like_test_file) {
    const private_folder folder;
    ASSERT_EQ(mkdir(folder.file("5.fff").c_str(), 0700), 0);
    EXPECT_EQ(listed(folder.path(), 0), indexes{4});
}

TEST(utils, lists_symlinks_and_fifos_named_like_test_files) {
    const private_folder folder;
    ASSERT_EQ(symlink("nowhere", folder.file("1.fff").c_str()), 0);
    ASSERT_EQ(mkfifo(folder.file("2.fff").c_str(), 0600), 0);
    EXPECT_EQ(listed(folder.path(), 0), (indexes{0, 1}));
}

TEST(utils, folder_that_cannot_be_opened_ends_process_with_system_error) {
    const private_folder folder;
    const std::string missing = folder.file("missing");
    model_tests::expect_refusal(run_in_child([&] { free(ls_my_files(missing.c_str(), 0)); }),
                                "Can't open path " + missing, ENOENT);
    const std::string file = folder.file("file");
    set_file_content(file, "");
    model_tests::expect_refusal(run_in_child([&] { free(ls_my_files(file.c_str(), 0)); }),
                                "Can't open path " + file, ENOTDIR);
}

TEST(utils, worker_adds_to_count_and_sets_position_before_first) {
    const private_folder folder;
    for (const char *name : {"3.fff", "1.fff", "x", "2.fff"})
        set_file_content(folder.file(name), "");
    int count = 0;
    int my_index = 77;
    int *files = __ls_my_files(opendir(folder.c_path()), 1, &count, &my_index);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(my_index, -1);
    EXPECT_EQ(files[2], -1);
    std::sort(files, files + count);
    EXPECT_EQ((indexes{files[0], files[1]}), (indexes{1, 2}));
    free(files);
}

/* A stack of 256 KiB has no room for a stack frame or an array element per entry. */
TEST(utils, lists_million_entries_on_small_stack) {
    constexpr int test_files = 500000;
    constexpr int others = 500000;
    const model_tests::private_volume volume("size=1m,nr_inodes=0,mode=700");
    SKIP_WITHOUT(volume);
    for (int number = 1; number <= test_files; ++number)
        ASSERT_EQ(mknod(volume.file(std::to_string(number) + ".fff").c_str(), S_IFREG | 0600, 0),
                  0);
    for (int number = 0; number < others; ++number)
        ASSERT_EQ(mknod(volume.file(std::to_string(number)).c_str(), S_IFREG | 0600, 0), 0);
    struct call {
        std::string path;
        indexes result;
    } call{volume.path(), {}};
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, 256U << 10U), 0);
    pthread_t thread = {};
    ASSERT_EQ(pthread_create(
                  &thread, &attributes,
                  [](void *argument) -> void * {
                      auto *it = static_cast<struct call *>(argument);
                      it->result = listed(it->path, 0);
                      return nullptr;
                  },
                  &call),
              0);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
    pthread_attr_destroy(&attributes);
    ASSERT_EQ(call.result.size(), static_cast<size_t>(test_files));
    for (int index = 0; index < test_files; ++index)
        ASSERT_EQ(call.result[static_cast<size_t>(index)], index);
}

TEST(utils, start_argument_counts_from_1) {
    EXPECT_EQ(parse_start_at("--start-at=1"), 0);
    EXPECT_EQ(parse_start_at("--start-at=3"), 2);
    EXPECT_EQ(parse_start_at("--start-at=2147483647"), 2147483646);
}

TEST(utils, start_argument_is_decimal_with_blanks_and_sign) {
    EXPECT_EQ(parse_start_at("--start-at= 7"), 6);
    EXPECT_EQ(parse_start_at("--start-at=\t +7"), 6);
    EXPECT_EQ(parse_start_at("--start-at=+12"), 11);
    EXPECT_EQ(parse_start_at("--start-at=12abc"), 11);
    EXPECT_EQ(parse_start_at("--start-at=5 6"), 4);
    EXPECT_EQ(parse_start_at("--start-at=010"), 9);
    EXPECT_EQ(parse_start_at("--start-at=2.9"), 1);
}

TEST(utils, refuses_start_that_is_not_positive) {
    for (const char *argument :
         {"--start-at=0", "--start-at=-4", "--start-at=x", "--start-at=", "--start-at=0x10",
          "--start-at=-9223372036854775808", "--start-at=-99999999999999999999"})
        EXPECT_EQ(parse_start_at(argument), -1) << argument;
}

TEST(utils, refuses_start_that_overflows) {
    EXPECT_EQ(parse_start_at("--start-at=9223372036854775807"), -1);
    EXPECT_EQ(parse_start_at("--start-at=99999999999999999999"), -1);
}

TEST(utils, keeps_low_32_bits_of_start) {
    EXPECT_EQ(parse_start_at("--start-at=4294967298"), 1);
    EXPECT_EQ(parse_start_at("--start-at=2147483649"), -2147483647 - 1);
}

TEST(utils, refuses_other_prefixes) {
    for (const char *argument : {"", "3", "--start=3", "--startat=3", "-start-at=3", "--start-at",
                                 "--start-at 3", "--START-AT=3", " --start-at=3", "start-at=3"})
        EXPECT_EQ(parse_start_at(argument), -1) << argument;
}
