// What is removed, and above all what is not. Every test has a precious folder beside the volume
// that must come out of it as it was.
#include "app/remove_tree.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>

#include "../support/forbid_statx.h"
#include "remove_tree_support.h"

namespace fs = std::filesystem;

using remove_tree_tests::as_ordinary_user;
using remove_tree_tests::call_hooks;
using remove_tree_tests::description;
using remove_tree_tests::exists;
using remove_tree_tests::in_child;
using remove_tree_tests::in_own_mounts;
using remove_tree_tests::names_in;
using remove_tree_tests::outcome_of;
using remove_tree_tests::remove_and_tell;
using remove_tree_tests::scene;
using remove_tree_tests::write_file;
using test_support::forbid_statx;

TEST(remove_tree, a_folder_goes_with_everything_in_it_and_nothing_beside_it) {
    const scene here;
    write_file(here.trash("two words\n\x80"), "x");
    fs::create_directory(here.trash(std::string(255, 'n')));
    ASSERT_EQ(mkfifo(here.trash("sub/pipe").c_str(), 0600), 0);
    for (const char *neighbour : {".Trashes2", ".Trashe", ".trashes"})
        write_file(here.path("volume/") + neighbour, "x");
    remove_tree_progress progress;
    EXPECT_EQ(outcome_of(remove_tree(here.trash(), &progress)), "removed");
    EXPECT_EQ(progress.removed, 9U);
    EXPECT_EQ(names_in(here.path("volume")), ".Trashe .Trashes2 .trashes");
}

TEST(remove_tree, an_entry_that_is_no_folder_is_removed_without_being_opened) {
    const scene here;
    const std::string marker = here.path("volume/.metadata_never_index");
    const auto is_removed_unopened = [&] {
        call_hooks watch;
        int opened = 0;
        watch.before_open = [&](auto &) { ++opened; };
        return remove_and_tell(marker) == "removed" && opened == 0 && !exists(marker);
    };
    write_file(marker, "");
    EXPECT_TRUE(is_removed_unopened());
    ASSERT_EQ(mkfifo(marker.c_str(), 0600), 0);
    EXPECT_TRUE(is_removed_unopened());
    sockaddr_un address = {AF_UNIX, {}};
    marker.copy(address.sun_path, sizeof address.sun_path - 1);
    const int end = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(end, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    close(end);
    EXPECT_TRUE(is_removed_unopened());
    fs::create_symlink(here.path("nowhere"), marker);
    EXPECT_TRUE(is_removed_unopened());
    fs::create_symlink(here.precious() + "/file", marker);
    EXPECT_TRUE(is_removed_unopened());
}

TEST(remove_tree, a_device_node_is_removed_without_being_opened) {
    const scene here;
    const std::string marker = here.path("volume/device");
    // A tape drive that nobody has: to open it would fail.
    if (mknod(marker.c_str(), S_IFCHR | 0600, makedev(9, 0)) != 0)
        GTEST_SKIP() << "this process may not make device nodes: " << std::strerror(errno);
    EXPECT_EQ(remove_and_tell(marker), "removed");
    EXPECT_FALSE(exists(marker));
}

TEST(remove_tree, a_marker_that_is_a_link_to_a_folder_loses_the_link_and_not_the_folder) {
    const scene here;
    for (const char *slashes : {"", "/", "///"}) {
        fs::create_symlink(here.precious(), here.path("volume/marker"));
        EXPECT_EQ(remove_and_tell(here.path("volume/marker") + slashes), "removed");
        EXPECT_FALSE(exists(here.path("volume/marker")));
    }
}

TEST(remove_tree, a_link_in_the_tree_loses_the_link_and_not_its_target) {
    const scene here;
    fs::create_symlink(here.precious(), here.trash("folder"));
    fs::create_symlink("../../../precious/sub", here.trash("sub/relative"));
    fs::create_symlink(here.precious() + "/file", here.trash("file link"));
    fs::create_symlink("..", here.trash("sub/above"));
    fs::create_symlink("nowhere", here.trash("dangling"));
    EXPECT_EQ(remove_and_tell(here.trash()), "removed");
    EXPECT_EQ(names_in(here.path("volume")), "");
}

TEST(remove_tree, a_hard_link_to_a_users_file_leaves_the_file) {
    const scene here;
    fs::create_hard_link(here.precious() + "/file", here.trash("sub/link"));
    EXPECT_EQ(remove_and_tell(here.trash()), "removed");
    EXPECT_EQ(fs::hard_link_count(here.precious() + "/file"), 1U);
}

TEST(remove_tree, links_before_the_last_place_lead_to_the_volume) {
    const scene here;
    fs::create_directory_symlink(here.path("volume"), here.path("by name"));
    EXPECT_EQ(remove_and_tell(here.path("by name/.Trashes/")), "removed");
    EXPECT_EQ(names_in(here.path("volume")), "");
    EXPECT_TRUE(exists(here.path("by name")));
}

TEST(remove_tree, what_is_not_there_is_told) {
    const scene here;
    EXPECT_EQ(remove_and_tell(here.path("none")), "ENOENT " + here.path("none"));
    EXPECT_EQ(remove_and_tell(here.path("none/none/")), "ENOENT " + here.path("none/none"));
    EXPECT_EQ(remove_and_tell(here.trash("file/x")), "ENOTDIR " + here.trash("file/x"));
    EXPECT_EQ(remove_and_tell(""), "ENOENT ");
}

TEST(remove_tree, a_path_that_ends_in_no_name_is_refused) {
    const scene here;
    // In a folder of its own, should one be accepted.
    in_child([&] {
        ASSERT_EQ(chdir(here.trash("sub").c_str()), 0);
        for (const std::string path : {"/", "//", ".", "./", "..", "../", "sub/.", "sub/.."})
            EXPECT_EQ(remove_and_tell(path), "EINVAL " + path);
        const std::string cut = here.trash("sub") + std::string(1, '\0') + "x";
        EXPECT_EQ(remove_and_tell(cut), "EINVAL " + cut);
        EXPECT_EQ(names_in(here.trash()), "file sub sub/file sub/sub sub/sub/file");
    });
}

TEST(remove_tree, a_relative_path_begins_at_the_working_directory) {
    const scene here;
    in_child([&] {
        ASSERT_EQ(chdir(here.path("volume").c_str()), 0);
        EXPECT_EQ(remove_and_tell("-/.metadata_never_index"), "ENOENT -/.metadata_never_index");
        write_file(here.path("volume/-/.metadata_never_index"), "");
        EXPECT_EQ(remove_and_tell("-/.metadata_never_index"), "removed");
        EXPECT_EQ(remove_and_tell(".Trashes"), "removed");
        EXPECT_EQ(names_in(here.path("volume")), "-");
        EXPECT_EQ(remove_and_tell("./-"), "removed");
    });
}

TEST(remove_tree, a_folder_that_cannot_be_opened_stays_with_its_parents_and_nothing_else) {
    const scene here;
    as_ordinary_user([&] {
        write_file(here.trash("sub/shut/inside"), "x");
        write_file(here.trash("sub/sub/more/file"), "x");
        ASSERT_EQ(chmod(here.trash("sub/shut").c_str(), 0), 0);
        EXPECT_EQ(remove_and_tell(here.trash()), "EACCES " + here.trash("sub/shut"));
        EXPECT_EQ(description(here.trash("sub/shut")), "40000 ");
        ASSERT_EQ(chmod(here.trash("sub/shut").c_str(), 0700), 0);
        EXPECT_EQ(names_in(here.trash()), "sub sub/shut sub/shut/inside");
    });
}

TEST(remove_tree, an_empty_folder_needs_no_right_to_open_it) {
    const scene here;
    as_ordinary_user([&] {
        ASSERT_EQ(mkdir(here.trash("shut").c_str(), 0), 0);
        EXPECT_EQ(remove_and_tell(here.trash()), "removed");
    });
}

TEST(remove_tree, a_volume_folder_that_may_be_used_but_not_listed_is_enough) {
    const scene here;
    as_ordinary_user([&] {
        fs::create_directories(here.path("volume/mine/.Trashes/sub"));
        ASSERT_EQ(chmod(here.path("volume/mine").c_str(), 0300), 0);
        EXPECT_EQ(remove_and_tell(here.path("volume/mine/.Trashes")), "removed");
    });
}

TEST(remove_tree, entries_of_a_folder_without_write_permission_stay_and_it_stays_as_it_is) {
    const scene here;
    as_ordinary_user([&] {
        write_file(here.trash("a/locked/one"), "x");
        write_file(here.trash("a/locked/in/two"), "y");
        write_file(here.trash("a/listed/three"), "z");
        ASSERT_EQ(chmod(here.trash("a/locked").c_str(), 0555), 0);
        ASSERT_EQ(chmod(here.trash("a/listed").c_str(), 0444), 0);
        const remove_tree_error error = remove_tree(here.trash());
        EXPECT_EQ(error.error_number, EACCES);
        EXPECT_EQ(error.path.find(here.trash("a/l")), 0U) << error.path;
        EXPECT_EQ(description(here.trash("a/locked")), "40555 ");
        EXPECT_EQ(description(here.trash("a/listed")), "40444 ");
        ASSERT_EQ(chmod(here.trash("a/listed").c_str(), 0755), 0);
        EXPECT_EQ(names_in(here.trash()),
                  "a a/listed a/listed/three a/locked a/locked/in a/locked/one");
    });
}

TEST(remove_tree, a_volume_mounted_in_the_tree_keeps_what_it_holds) {
    const scene here;
    for (const bool has_mount_numbers : {true, false})
        in_own_mounts([&] {
            fs::create_directories(here.trash("sub/mounted"));
            fs::create_directories(here.trash("sub/other"));
            ASSERT_EQ(mount("t", here.trash("sub/mounted").c_str(), "tmpfs", 0, "size=1m"), 0);
            write_file(here.trash("sub/mounted/in/file"), "x");
            if (!has_mount_numbers && !forbid_statx())
                _exit(remove_tree_tests::exit_status_skipped);
            EXPECT_EQ(remove_and_tell(here.trash()), "EBUSY " + here.trash("sub/mounted"));
            EXPECT_EQ(names_in(here.trash()), "sub sub/mounted sub/mounted/in sub/mounted/in/file");
        });
}

TEST(remove_tree, a_folder_of_the_same_volume_mounted_in_the_tree_keeps_what_it_holds) {
    const scene here;
    in_own_mounts([&] {
        fs::create_directories(here.trash("bound"));
        ASSERT_EQ(
            mount(here.precious().c_str(), here.trash("bound").c_str(), nullptr, MS_BIND, nullptr),
            0);
        EXPECT_EQ(remove_and_tell(here.trash()), "EBUSY " + here.trash("bound"));
        EXPECT_TRUE(here.precious_is_as_it_was());
        EXPECT_EQ(names_in(here.trash()),
                  "bound bound/file bound/sub bound/sub/file bound/sub/sub bound/sub/sub/file");
    });
}

TEST(remove_tree, a_file_mounted_in_the_tree_stays) {
    const scene here;
    in_own_mounts([&] {
        const std::string file = here.precious() + "/file";
        ASSERT_EQ(mount(file.c_str(), here.trash("file").c_str(), nullptr, MS_BIND, nullptr), 0);
        EXPECT_EQ(remove_and_tell(here.trash()), "EBUSY " + here.trash("file"));
        EXPECT_EQ(names_in(here.trash()), "file");
    });
}

TEST(remove_tree, a_starting_folder_that_is_a_mount_point_is_left_alone) {
    const scene here;
    in_own_mounts([&] {
        const std::string precious = here.precious();
        ASSERT_EQ(mount(precious.c_str(), here.trash().c_str(), nullptr, MS_BIND, nullptr), 0);
        EXPECT_EQ(remove_and_tell(here.trash()), "EBUSY " + here.trash());
        EXPECT_TRUE(here.precious_is_as_it_was());
    });
}

TEST(remove_tree, a_locked_volume_loses_nothing) {
    const scene here;
    in_own_mounts([&] {
        const std::string volume = here.path("volume");
        ASSERT_EQ(mount("t", volume.c_str(), "tmpfs", 0, "size=1m"), 0);
        write_file(here.trash("sub/file"), "x");
        ASSERT_EQ(mount("t", volume.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
        EXPECT_EQ(remove_and_tell(here.trash()), "EROFS " + here.trash("sub/file"));
        EXPECT_EQ(names_in(here.trash()), "sub sub/file");
    });
}
