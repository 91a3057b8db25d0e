// What others do in the tree while it is being removed. Played by hooks between two steps, where
// the order matters, and by threads.
#include "app/remove_tree.h"

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "remove_tree_support.h"

namespace fs = std::filesystem;

using remove_tree_tests::call_hooks;
using remove_tree_tests::exists;
using remove_tree_tests::make_chain;
using remove_tree_tests::names_in;
using remove_tree_tests::outcome_of;
using remove_tree_tests::remove_and_tell;
using remove_tree_tests::scene;
using remove_tree_tests::write_file;

TEST(remove_tree, every_folder_is_opened_as_a_folder_and_never_through_a_link) {
    const scene here;
    close(make_chain(here.trash("deep"), 100, "d"));
    call_hooks watch;
    EXPECT_EQ(remove_and_tell(here.trash()), "removed");
    constexpr int needed = O_NOFOLLOW | O_DIRECTORY | O_CLOEXEC;
    EXPECT_EQ(watch.common_open_flags & needed, needed);
}

TEST(remove_tree, a_folder_that_becomes_something_else_before_it_is_opened_is_not_entered) {
    const scene here;
    fs::remove(here.trash("file"));  // its removal would bring a second look
    const std::vector<std::pair<std::string, std::function<void()>>> swaps = {
        {"ENOTDIR", [&] { fs::create_symlink(here.precious(), here.trash("sub")); }},
        {"ENOTDIR", [&] { EXPECT_EQ(mkfifo(here.trash("sub").c_str(), 0600), 0); }},
        {"ENOTDIR", [&] { write_file(here.trash("sub"), "x"); }},
        {"ESTALE", [&] { fs::rename(here.precious(), here.trash("sub")); }}};
    for (const auto &[reason, swap] : swaps) {
        {
            call_hooks watch;
            watch.before_open = [&, swap = &swap](auto &name) {
                if (name == "sub" && !exists(here.path("aside"))) {
                    fs::rename(here.trash("sub"), here.path("aside"));
                    (*swap)();
                }
            };
            EXPECT_EQ(remove_and_tell(here.trash()), reason + " " + here.trash("sub"));
        }
        EXPECT_EQ(names_in(here.path("aside")), "file sub sub/file");
        if (reason == "ESTALE")
            fs::rename(here.trash("sub"), here.precious());
        else
            EXPECT_EQ(remove_and_tell(here.trash()), "removed");
        fs::create_directories(here.trash());
        fs::rename(here.path("aside"), here.trash("sub"));
    }
}

TEST(remove_tree, an_entry_that_becomes_something_else_before_it_is_removed_leads_nowhere) {
    const scene here;
    fs::remove(here.trash("file"));
    call_hooks watch;
    watch.before_unlink = [&](auto &name, int flags) {
        if (name == "sub" && flags == AT_REMOVEDIR && exists(here.trash("sub/sub"))) {
            fs::remove(here.trash("sub/sub"));
            fs::create_directory_symlink(here.precious(), here.trash("sub/sub"));
        } else if (name == "file" && !exists(here.path("aside"))) {
            fs::rename(here.trash("sub/file"), here.path("aside"));
            fs::create_symlink(here.precious() + "/file", here.trash("sub/file"));
        }
    };
    remove_tree(here.trash());
    EXPECT_TRUE(here.precious_is_as_it_was());
}

TEST(remove_tree, a_folder_moved_out_is_not_followed_to_its_new_place) {
    const scene here;
    for (const int depth : {10, 100}) {
        close(make_chain(here.trash("sub/d"), depth, "d"));
        write_file(here.path("other/keep"), "x");
        write_file(here.path("other/folder/keep"), "x");
        call_hooks watch;
        int opened = 0;
        watch.before_open = [&](auto &name) {
            // The way down has come past it; with 100 folders, past where it is held open.
            opened += name == "d" ? 1 : 0;
            if (opened == depth && exists(here.trash("sub/d")))
                fs::rename(here.trash("sub/d/d"), here.path("other/d"));
        };
        EXPECT_EQ(remove_and_tell(here.trash()), "ESTALE " + here.trash("sub/d/d"));
        EXPECT_TRUE(exists(here.trash("sub/d")));
        fs::remove_all(here.path("other/d"));
        EXPECT_EQ(names_in(here.path("other")), "folder folder/keep keep");
    }
}

TEST(remove_tree, what_vanishes_meanwhile_is_as_good_as_removed) {
    const scene here;
    fs::remove_all(here.trash("sub"));
    write_file(here.trash("read"), "x");
    write_file(here.trash("looked at"), "x");
    fs::create_directory(here.trash("looked at too"));
    fs::create_directory(here.trash("emptied"));
    call_hooks watch;
    // Each goes away after the step that its name tells. One file is never shown, so that the
    // first error is not forgotten in the end.
    watch.hides = [&](const dirent &entry) {
        if (std::string(entry.d_name) == "read")
            fs::remove(here.trash("read"));
        return std::string(entry.d_name) == "file";
    };
    watch.before_open = [&](auto &name) {
        if (name == "looked at too")
            fs::remove(here.trash(name));
    };
    watch.before_unlink = [&](auto &name, int) {
        if (name == "looked at" || name == "emptied")
            fs::remove(here.trash(name));
    };
    remove_tree_progress progress;
    EXPECT_EQ(outcome_of(remove_tree(here.trash(), &progress)), "ENOTEMPTY " + here.trash());
    EXPECT_EQ(progress.removed, 0U);
    EXPECT_EQ(names_in(here.trash()), "file");
}

TEST(remove_tree, an_error_that_came_right_is_none) {
    const scene here;
    call_hooks watch;
    bool is_late = false;
    // Somebody adds a file after the last look into its folder, and takes it away again.
    watch.before_unlink = [&](auto &name, int flags) {
        if (name == "sub" && flags == AT_REMOVEDIR && exists(here.trash("sub/sub")) && !is_late)
            write_file(here.trash("sub/sub/late"), "x");
        is_late = is_late || exists(here.trash("sub/sub/late"));
    };
    watch.after_unlink = [&](auto &, int) {
        if (is_late)
            fs::remove_all(here.trash("sub/sub"));
    };
    EXPECT_EQ(remove_and_tell(here.trash()), "removed");
    EXPECT_TRUE(is_late);
}

TEST(remove_tree, somebody_who_puts_back_what_is_removed_is_not_fought_for_ever) {
    const scene here;
    call_hooks watch;
    watch.after_unlink = [&](auto &name, int) {
        if (name == "file")
            mknod(here.trash(name).c_str(), S_IFREG | 0600, 0);
    };
    EXPECT_EQ(remove_and_tell(here.trash()), "ENOTEMPTY " + here.trash());
    EXPECT_EQ(names_in(here.trash()), "file");
}

TEST(remove_tree, a_folder_that_keeps_turning_into_a_link_never_leads_out) {
    const scene here;
    const std::string sub = here.trash("sub");
    const std::string link = here.path("link");
    std::atomic<bool> done{false};
    std::thread swapping([&] {
        while (!done)
            syscall(SYS_renameat2, AT_FDCWD, sub.c_str(), AT_FDCWD, link.c_str(), 2 /* exchange */);
    });
    for (int round = 0; round < 2'000 && exists(here.precious() + "/file"); ++round) {
        symlink(here.precious().c_str(), link.c_str());
        mkdir(here.trash().c_str(), 0700);
        mkdir(sub.c_str(), 0700);
        mknod((sub + "/file").c_str(), S_IFREG | 0600, 0);
        while (exists(here.trash()))
            remove_tree(here.trash());
        remove_tree(link);
    }
    done = true;
    swapping.join();
    EXPECT_TRUE(here.precious_is_as_it_was());
}

TEST(remove_tree, two_that_remove_the_same_tree_do_not_disturb_each_other) {
    const scene here;
    for (int round = 0; round < 20; ++round) {
        for (const char *name : {"a", "b", "c"})
            close(make_chain(here.trash(name), 100, "d"));
        remove_tree_error other;
        std::thread second([&] { other = remove_tree(here.trash()); });
        const remove_tree_error error = remove_tree(here.trash());
        second.join();
        EXPECT_FALSE(exists(here.trash()));
        for (const std::string &outcome : {outcome_of(error), outcome_of(other)})
            EXPECT_TRUE(outcome == "removed" || outcome == "ENOENT " + here.trash()) << outcome;
    }
}
