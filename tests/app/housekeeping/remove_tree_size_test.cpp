// Deep trees, full folders, volumes that do not read well, and hardly anything to work with.
#include "app/remove_tree.h"

#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <string>
#include <utility>

#include "remove_tree_support.h"

namespace fs = std::filesystem;

using remove_tree_tests::as_ordinary_user;
using remove_tree_tests::call_hooks;
using remove_tree_tests::everything_in;
using remove_tree_tests::exists;
using remove_tree_tests::heap_account;
using remove_tree_tests::heap_of_this_thread;
using remove_tree_tests::in_child;
using remove_tree_tests::make_chain;
using remove_tree_tests::names_in;
using remove_tree_tests::open_descriptors;
using remove_tree_tests::outcome_of;
using remove_tree_tests::remove_and_tell;
using remove_tree_tests::scene;
using remove_tree_tests::write_file;

TEST(remove_tree, ten_thousand_folders_deep_is_no_matter) {
    const scene here;
    close(make_chain(here.trash("deep"), 10'000, std::string(200, 'd')));
    const std::size_t before = open_descriptors();
    std::size_t most = 0;
    call_hooks watch;
    watch.before_open = [&](auto &) { most = std::max(most, open_descriptors()); };
    remove_tree_progress progress;
    EXPECT_EQ(outcome_of(remove_tree(here.trash(), &progress)), "removed");
    EXPECT_EQ(progress.removed, 6U + 1U + 10'000U + 1'000U);
    EXPECT_LT(most - before, 34U);  // and one more was opened then
}

TEST(remove_tree, a_way_down_without_an_end_is_given_up) {
    const scene here;
    // A folder that holds itself, as on a damaged volume, would go on and on.
    close(make_chain(here.trash(), 20'001, "d"));
    const remove_tree_error error = remove_tree(here.trash());
    EXPECT_EQ(error.error_number, ELOOP);
    EXPECT_EQ(error.path.size(), here.trash().size() + 2 * std::size_t{20'000});
    // The folders are all there still: half of them are taken aside, and the rest is no longer
    // deep.
    const std::string half = here.path("half");
    std::string down = here.trash();
    for (int i = 0; i < 1'000; ++i)
        down += "/d";
    ASSERT_EQ(rename(down.c_str(), half.c_str()), 0);
    remove_tree_progress progress;
    EXPECT_EQ(outcome_of(remove_tree(half, &progress)), "removed");
    EXPECT_EQ(progress.removed, 19'002U);
    EXPECT_EQ(remove_and_tell(here.trash()), "removed");
}

TEST(remove_tree, few_descriptors_are_enough) {
    const scene here;
    // Three for the standard streams.
    for (const rlim_t limit : {rlim_t{32}, rlim_t{6}})
        in_child([&] {
            close(make_chain(here.trash("deep"), 1'000, "d"));
            close_range(3, ~0U, 0);
            const rlimit limits = {limit, limit};
            ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limits), 0);
            EXPECT_EQ(remove_and_tell(here.trash()), "removed");
        });
}

TEST(remove_tree, without_descriptors_what_cannot_be_entered_stays) {
    const scene here;
    in_child([&] {
        fs::create_directory(here.trash("empty"));
        close_range(3, ~0U, 0);
        rlimit limits = {};
        ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limits), 0);
        const rlim_t usual = std::exchange(limits.rlim_cur, 5);
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limits), 0);
        const remove_tree_error error = remove_tree(here.trash());
        limits.rlim_cur = usual;
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limits), 0);
        EXPECT_EQ(outcome_of(error), "EMFILE " + here.trash("sub"));
        EXPECT_EQ(names_in(here.trash()), "sub sub/file sub/sub sub/sub/file");
    });
}

TEST(remove_tree, a_hundred_thousand_entries_are_not_held_in_memory) {
    const scene here;
    for (int i = 0; i < 100'000; ++i)
        ASSERT_EQ(mknod(here.trash(std::to_string(i)).c_str(), S_IFREG | 0600, 0), 0);
    remove_tree_progress progress;
    heap_account &heap = heap_of_this_thread();
    const long long before = heap.most_bytes = heap.bytes_in_use;
    EXPECT_EQ(outcome_of(remove_tree(here.trash(), &progress)), "removed");
    EXPECT_LT(heap.most_bytes - before, 10'000);
    EXPECT_EQ(progress.removed, 100'006U);
}

TEST(remove_tree, folders_that_have_to_stay_are_entered_once_however_deep) {
    const scene here;
    as_ordinary_user([&] {
        std::string down;
        for (int i = 0; i < 300; ++i)
            down += "/d";
        std::size_t left = 0;
        for (const char *name : {"a", "b", "c", "d", "e"}) {
            const int bottom = make_chain(here.trash(name), 300, "d");
            if (*name == 'a' || *name == 'c' || *name == 'd') {
                EXPECT_EQ(mkdirat(bottom, "in", 0700), 0);
                EXPECT_EQ(mknodat(bottom, "in/file", S_IFREG | 0600, 0), 0);
                EXPECT_EQ(fchmodat(bottom, "in", 0555, 0), 0);
                left += 303;
            }
            close(bottom);
        }
        call_hooks watch;
        int opened = 0;
        watch.before_open = [&](auto &) { ++opened; };
        const remove_tree_error error = remove_tree(here.trash());
        EXPECT_EQ(error.error_number, EACCES);
        EXPECT_EQ(error.path.substr(here.trash("x").size()), down + "/in/file");
        EXPECT_EQ(everything_in(here.trash()).size(), left);
        EXPECT_LT(opened, 2 * 5 * 302);  // each once from above, and at most once from below
        for (const char *name : {"a", "c", "d"})
            EXPECT_EQ(chmod((here.trash(name) + down + "/in").c_str(), 0755), 0);
    });
}

TEST(remove_tree, entries_that_the_file_system_skips_are_found_later) {
    const scene here;
    for (int i = 0; i < 1000; ++i)
        write_file(here.trash("sub/" + std::to_string(i)), "x");
    call_hooks watch;
    // As where a position is a count: with each entry removed, the next takes its place unseen.
    int unseen = 0;
    watch.after_unlink = [&](auto &, int) { ++unseen; };
    watch.hides = [&](auto &) { return unseen > 0 && unseen-- > 0; };
    EXPECT_EQ(remove_and_tell(here.trash()), "removed");
}

TEST(remove_tree, a_folder_whose_reading_fails_is_read_again_as_long_as_that_helps) {
    const scene here;
    for (int i = 0; i < 100; ++i)
        write_file(here.trash("sub/sub/" + std::to_string(i)), "x");
    for (const int good_reads : {0, 7}) {
        call_hooks watch;
        watch.read_error = [&, left = good_reads]() mutable {
            const int error_number = left == 0 ? EIO : 0;
            left = left == 0 ? good_reads : left - 1;
            return error_number;
        };
        const std::string start = here.trash("sub/sub");
        EXPECT_EQ(remove_and_tell(start), good_reads == 0 ? "EIO " + start : "removed");
        EXPECT_EQ(exists(start + "/99"), good_reads == 0);
    }
}

TEST(remove_tree, a_name_that_would_be_a_path_is_not_used) {
    const scene here;
    for (const char *bad : {"../../precious/file", "../../precious/sub", "sub/sub", ""}) {
        write_file(here.trash("bad"), "x");
        call_hooks watch;
        // As on a damaged volume.
        watch.hides = [&](dirent &entry) {
            if (std::strcmp(entry.d_name, "bad") == 0)
                std::strcpy(entry.d_name, bad);  // NOLINT(clang-analyzer-*): it has room for 255
            return false;
        };
        EXPECT_EQ(remove_and_tell(here.trash()), "EIO " + here.trash());
        EXPECT_EQ(names_in(here.trash()), "bad");
    }
}

TEST(remove_tree, memory_that_runs_out_is_told_and_harms_nothing) {
    const scene here;
    heap_account &heap = heap_of_this_thread();
    std::string outcome;
    for (long enough = 0; outcome != "removed"; ++enough) {
        ASSERT_LT(enough, 1000);
        close(make_chain(here.trash("deep"), 50, "a name that does not fit into a string itself"));
        const std::string path = here.trash();
        heap.allocations_left = enough;
        const remove_tree_error error = remove_tree(path);
        const bool ran_out = heap.allocations_left == 0;
        heap.allocations_left = -1;
        outcome = outcome_of(error);
        EXPECT_TRUE(outcome == "removed" || (ran_out && error.error_number == ENOMEM)) << outcome;
        EXPECT_TRUE(error.path.empty() || error.path == path) << error.path;
        EXPECT_EQ(exists(path), outcome != "removed");
        fs::remove_all(path);
    }
}
