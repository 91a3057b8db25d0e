// SPDX-License-Identifier: GPL-3.0-or-later
#include "runner/run_guard.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>

#include "support/folder.h"
#include "support/volumes.h"

using test_support::bind_volume;
using test_support::private_folder;
using test_support::set_file_content;
using test_support::tmpfs_volume;

namespace {

run_request request_for(const std::string &path) {
    run_request request;
    request.path = path;
    return request;
}

run_request reading(const std::string &path) {
    run_request request = request_for(path);
    request.judge_volume = false;
    return request;
}

run_request forced(const std::string &path) {
    run_request request = request_for(path);
    request.force = true;
    return request;
}

run_refusal refusal_of(const run_request &request) {
    run_guard guard;
    run_refusal refusal = guard.look(request);
    return refusal ? refusal : guard.take();
}

// Expects the same refusal with and without force.
void expect_refused(const std::string &path, refusal_kind kind, const std::string &reason = {}) {
    for (const run_request &request : {request_for(path), forced(path)}) {
        const run_refusal refusal = refusal_of(request);
        EXPECT_EQ(refusal.kind, kind);
        EXPECT_EQ(refusal.folder, path);
        EXPECT_EQ(refusal.reason, reason);
    }
}

run_guard looked_at(const run_request &request) {
    run_guard guard;
    const run_refusal refusal = guard.look(request);
    EXPECT_EQ(refusal.kind, refusal_kind::none) << refusal.reason;
    return guard;
}

run_guard taken(const run_request &request) {
    run_guard guard = looked_at(request);
    EXPECT_EQ(guard.take().kind, refusal_kind::none);
    return guard;
}

volume_info described(const std::string &path) {
    volume_info volume;
    std::string error;
    EXPECT_TRUE(volume_describe(path, volume, error)) << error;
    return volume;
}

}  // namespace

TEST(run_guard, refuses_path_that_does_not_exist) {
    const private_folder folder;
    expect_refused(folder.file("nowhere"), refusal_kind::no_folder, "No such file or directory");
}

TEST(run_guard, refuses_file) {
    const private_folder folder;
    set_file_content(folder.file("photo"), "x");
    expect_refused(folder.file("photo"), refusal_kind::no_folder, "not a folder");
}

TEST(run_guard, force_overrides_folder_inside_volume) {
    const tmpfs_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    const std::string inside = volume.file("inside");
    std::filesystem::create_directory(inside);
    const run_refusal refusal = refusal_of(request_for(inside));
    EXPECT_EQ(refusal.kind, refusal_kind::not_mount_root);
    EXPECT_EQ(refusal.folder, inside);
    EXPECT_EQ(refusal.volume_root, volume.path());
    const run_guard guard = looked_at(forced(inside));
    EXPECT_EQ(guard.folder(), inside);
    EXPECT_EQ(guard.volume()->root, volume.path());
}

TEST(run_guard, force_overrides_file_system_of_root) {
    const private_folder folder;
    const bind_volume bind(folder.path());
    SKIP_WITHOUT(bind);
    struct stat root = {};
    struct stat bound = {};
    ASSERT_EQ(stat("/", &root) | stat(bind.c_path(), &bound), 0);
    if (root.st_dev != bound.st_dev)
        GTEST_SKIP() << "/tmp is a file system of its own here";
    const run_refusal refusal = refusal_of(request_for(bind.path()));
    EXPECT_EQ(refusal.kind, refusal_kind::system_volume);
    EXPECT_EQ(refusal.system_use, "the system's root /");
    EXPECT_EQ(looked_at(forced(bind.path())).folder(), bind.path());
}

TEST(run_guard, refuses_root_itself) {
    EXPECT_EQ(refusal_of(request_for("/")).kind, refusal_kind::system_volume);
    EXPECT_EQ(run_guard_check_system_use("/").system_use, "the system's root /");
}

TEST(run_guard, force_overrides_home_of_user) {
    const tmpfs_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    const char *const home = std::getenv("HOME");
    const std::string before = home != nullptr ? home : "";
    setenv("HOME", volume.c_path(), 1);
    const run_refusal refusal = refusal_of(request_for(volume.path()));
    EXPECT_EQ(refusal.kind, refusal_kind::system_volume);
    EXPECT_EQ(refusal.system_use, "the home folder " + volume.path());
    EXPECT_EQ(run_guard_check_system_use(volume.path()).system_use, refusal.system_use);
    looked_at(forced(volume.path()));
    if (home != nullptr)
        setenv("HOME", before.c_str(), 1);
    else
        unsetenv("HOME");
    EXPECT_FALSE(run_guard_check_system_use(volume.path()));
}

TEST(run_guard, system_use_of_unknown_path_is_a_refusal) {
    const private_folder folder;
    const run_refusal refusal = run_guard_check_system_use(folder.file("nowhere"));
    EXPECT_EQ(refusal.kind, refusal_kind::unknown_volume);
    EXPECT_NE(refusal.reason.find(folder.file("nowhere")), std::string::npos) << refusal.reason;
    EXPECT_NE(refusal.reason.find("No such file or directory"), std::string::npos);
}

TEST(run_guard, refuses_read_only_volume_unless_it_is_only_read) {
    tmpfs_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    ASSERT_TRUE(volume.set_read_only(true));
    expect_refused(volume.path(), refusal_kind::read_only);
    taken(reading(volume.path()));
}

TEST(run_guard, refuses_foreign_entries) {
    const tmpfs_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    set_file_content(volume.file("1.fff"), "old");
    set_file_content(volume.file("01.fff"), "x");
    std::filesystem::create_directory(volume.file("2.fff"));
    for (const run_request &request :
         {request_for(volume.path()), forced(volume.path()), reading(volume.path())}) {
        const run_refusal refusal = refusal_of(request);
        EXPECT_EQ(refusal.kind, refusal_kind::foreign_entries);
        EXPECT_EQ(refusal.foreign, (std::vector<std::string>{"'01.fff' (another name for 1.fff)",
                                                             "'2.fff' (a folder)"}));
    }
    EXPECT_EQ(test_support::file_content(volume.file("1.fff")), "old");
}

TEST(run_guard, ignores_entries_below_start) {
    const tmpfs_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    std::filesystem::create_directory(volume.file("1.fff"));
    set_file_content(volume.file("2.fff"), "old");
    run_request request = request_for(volume.path());
    request.start_index = 1;
    EXPECT_EQ(taken(request).files().numbers, std::vector<int>{2});
}

TEST(run_guard, takes_any_folder_that_is_only_read) {
    const private_folder folder;
    EXPECT_EQ(taken(reading(folder.path())).folder(), folder.path());
    const std::string inside = folder.make_folder("inside");
    set_file_content(inside + "/1.fff", "old");
    const run_guard guard = taken(reading(inside));
    EXPECT_EQ(guard.folder(), inside);
    EXPECT_EQ(guard.files().numbers, std::vector<int>{1});
    EXPECT_EQ(guard.files().bytes, 3U);
}

TEST(run_guard, resolves_links_to_volume) {
    const tmpfs_volume volume("size=1m", "a card's \"name\"");
    SKIP_WITHOUT(volume);
    const private_folder folder;
    std::filesystem::create_directory_symlink(volume.path(), folder.file("link"));
    const run_guard guard = taken(request_for(folder.file("link") + "/./"));
    EXPECT_EQ(guard.folder(), volume.path());
    EXPECT_EQ(guard.volume()->root, volume.path());
    EXPECT_EQ(guard.volume()->capacity_bytes, 1024U * 1024U);
    EXPECT_EQ(guard.files().numbers, std::vector<int>{});
}

TEST(run_guard, refuses_volume_replaced_between_look_and_take) {
    const tmpfs_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    run_guard guard = looked_at(request_for(volume.path()));
    ASSERT_EQ(mount("tmpfs", volume.c_path(), "tmpfs", 0, "size=1m"), 0);
    std::filesystem::create_directory(volume.file("1.fff"));
    EXPECT_FALSE(guard.is_in_place());
    EXPECT_EQ(guard.take().kind, refusal_kind::other_volume);
    EXPECT_EQ(umount2(volume.c_path(), MNT_DETACH), 0);
    EXPECT_EQ(guard.take().kind, refusal_kind::none) << "the volume is back";
    EXPECT_TRUE(guard.is_in_place());
}

TEST(run_guard, refuses_other_volume_in_place_of_chosen_one) {
    const tmpfs_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    run_request request = reading(volume.path());
    request.chosen = described(volume.path());
    taken(request);
    ASSERT_EQ(mount("tmpfs", volume.c_path(), "tmpfs", 0, "size=1m"), 0);
    EXPECT_EQ(refusal_of(request).kind, refusal_kind::other_volume);
    EXPECT_EQ(umount2(volume.c_path(), MNT_DETACH), 0);
    taken(request);
    ++request.chosen->device;
    EXPECT_EQ(refusal_of(request).kind, refusal_kind::other_volume) << "a copy on another device";
}

TEST(run_guard, takes_same_card_after_new_mount) {
    SKIP_IF_MISSING(test_support::missing_for_images({"mkfs.ext4"}));
    const test_support::image_volume volume(2 * test_support::mib, {"mkfs.ext4", "-q", "-F"}, {},
                                            "ext4");
    run_request request = reading(volume.path());
    request.chosen = described(volume.path());
    if (request.chosen->unique_mount_id == 0)
        GTEST_SKIP() << "this kernel does not tell two mounts apart";
    const std::string device = "/dev/" + volume.device_name();
    ASSERT_EQ(umount2(volume.c_path(), 0), 0);
    EXPECT_EQ(refusal_of(request).kind, refusal_kind::other_volume) << "the folder below";
    ASSERT_EQ(mount(device.c_str(), volume.c_path(), "ext4", 0, nullptr), 0);
    EXPECT_FALSE(volume_is_still(*request.chosen, described(volume.path())));
    EXPECT_EQ(refusal_of(request).kind, refusal_kind::other_volume) << "not asked for";
    request.accept_new_mount = true;
    const run_guard guard = taken(request);
    EXPECT_EQ(guard.volume()->unique_mount_id, described(volume.path()).unique_mount_id);
}

TEST(run_guard, refuses_another_card_of_the_same_size) {
    SKIP_IF_MISSING(test_support::missing_for_images({"mkfs.ext4"}));
    const std::vector<std::string> make = {"mkfs.ext4", "-q", "-F"};
    const test_support::image_volume chosen(2 * test_support::mib, make, {}, "ext4");
    const test_support::image_volume other(2 * test_support::mib, make, {}, "ext4");
    run_request request = reading(chosen.path());
    request.chosen = described(chosen.path());
    request.accept_new_mount = true;
    ASSERT_EQ(umount2(chosen.c_path(), 0), 0);
    const std::string other_device = "/dev/" + other.device_name();
    ASSERT_EQ(mount(other_device.c_str(), chosen.c_path(), "ext4", 0, nullptr), 0);
    EXPECT_EQ(refusal_of(request).kind, refusal_kind::other_volume);
}

TEST(run_guard, calls_chosen_volume_gone_when_its_folder_is_gone) {
    const private_folder folder;
    run_request request = reading(folder.file("gone"));
    request.chosen = described(folder.path());
    for (const bool pass : {false, true}) {
        request.pass_unreadable = pass;
        EXPECT_EQ(refusal_of(request).kind, refusal_kind::volume_gone);
    }
}

TEST(run_guard, passes_missing_folder_on_request) {
    const private_folder folder;
    run_request request = reading(folder.file("missing"));
    request.pass_unreadable = true;
    const run_guard guard = taken(request);
    EXPECT_EQ(guard.folder(), folder.file("missing"));
    EXPECT_FALSE(guard.volume());
}

TEST(run_guard, tells_other_run_from_lock_of_another_program) {
    const tmpfs_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    const dev_t device = described(volume.path()).device;
    {
        run_lock other;
        ASSERT_EQ(other.take(volume.path()).state, run_lock_state::taken);
        expect_refused(volume.path(), refusal_kind::locked);
        EXPECT_EQ(refusal_of(reading(volume.path())).kind, refusal_kind::locked);
    }
    {
        run_lock other;
        ASSERT_EQ(other.take_file_system(device).state, run_lock_state::taken);
        expect_refused(volume.path(), refusal_kind::other_run);
    }
    const run_guard guard = taken(request_for(volume.path()));
    expect_refused(volume.path(), refusal_kind::other_run);
}

TEST(run_guard, folder_of_volume_and_its_root_exclude_each_other) {
    const tmpfs_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    const std::string inside = volume.file("inside");
    std::filesystem::create_directory(inside);
    for (const run_request &request : {forced(inside), reading(inside)}) {
        {
            run_lock other;
            ASSERT_EQ(other.take(volume.path()).state, run_lock_state::taken);
            const run_refusal refusal = refusal_of(request);
            EXPECT_EQ(refusal.kind, refusal_kind::locked);
            EXPECT_EQ(refusal.folder, volume.path()) << "the folder that is locked";
            EXPECT_FALSE(refusal.may_be_run);
        }
        const run_guard guard = taken(request);
        EXPECT_EQ(refusal_of(request_for(volume.path())).kind, refusal_kind::other_run);
        run_lock other;
        EXPECT_EQ(other.take(volume.path()).state, run_lock_state::locked)
            << "the root is held as well";
    }
}

TEST(run_guard, two_mounts_of_one_volume_exclude_each_other) {
    const tmpfs_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    const std::string inside = volume.file("inside");
    std::filesystem::create_directory(inside);
    const bind_volume part(inside);
    SKIP_WITHOUT(part);
    for (const auto &[first, second] :
         {std::pair(volume.path(), part.path()), std::pair(part.path(), volume.path())}) {
        const run_guard guard = taken(request_for(first));
        EXPECT_EQ(refusal_of(request_for(second)).kind, refusal_kind::other_run);
    }
    taken(request_for(part.path()));
}

TEST(run_guard, refusal_gives_locks_back) {
    const tmpfs_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    std::filesystem::create_directory(volume.file("1.fff"));
    run_guard guard = looked_at(request_for(volume.path()));
    EXPECT_EQ(guard.take().kind, refusal_kind::foreign_entries);
    run_lock other;
    EXPECT_EQ(other.take(volume.path()).state, run_lock_state::taken);
    EXPECT_EQ(other.take_file_system(guard.volume()->device).state, run_lock_state::taken);
}

TEST(run_guard, finds_files_that_another_run_left_when_it_ended) {
    const tmpfs_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    run_guard guard = looked_at(reading(volume.path()));
    set_file_content(volume.file("1.fff"), "written");
    EXPECT_FALSE(guard.take());
    EXPECT_EQ(guard.files().numbers, std::vector<int>{1});
    EXPECT_EQ(guard.files().bytes, 7U);
}
