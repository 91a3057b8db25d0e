// SPDX-License-Identifier: GPL-3.0-or-later
// Each test has a precious folder beside the volume and checks that it stays unchanged.
#include "app/removal.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <thread>

#include "support/folder.h"
#include "support/mounts.h"
#include "support/process.h"
#include "volume/posix.h"

namespace fs = std::filesystem;

using test_support::exists;
using test_support::private_folder;
using test_support::private_mounts;

namespace remove_tree_tests {

// The names below a folder, each with its mode and content.
std::map<std::string, std::string> everything_in(const std::string &folder) {
    std::map<std::string, std::string> all;
    for (const auto &entry : fs::recursive_directory_iterator(folder)) {
        std::string what = std::to_string(static_cast<int>(entry.symlink_status().permissions()));
        if (entry.symlink_status().type() == fs::file_type::regular)
            what += test_support::file_content(entry.path());
        all[entry.path().lexically_relative(folder)] = what;
    }
    return all;
}

// "a a/b c"
std::string names_in(const std::string &folder) {
    std::string names;
    for (const auto &[name, what] : everything_in(folder))
        names += (names.empty() ? "" : " ") + name;
    return names;
}

// A volume with a trash folder, and a precious folder with the same names beside it.
class remove_tree : public testing::Test {
 protected:
    remove_tree() {
        for (const char *place : {"precious", "volume/.Trashes"})
            for (const char *name : {"file", "sub/file", "sub/sub/file"})
                m_folder.make_file(std::string(place) + "/" + name, place);
        fs::permissions(m_folder.path(), fs::perms::all);
        for (const auto &entry : fs::recursive_directory_iterator(m_folder.path()))
            fs::permissions(entry, fs::perms::all);
        m_precious = everything_in(precious());
    }
    ~remove_tree() override { EXPECT_EQ(everything_in(precious()), m_precious); }

    std::string precious() const { return m_folder.file("precious"); }
    std::string volume(const std::string &name = {}) const {
        return m_folder.file("volume") + (name.empty() ? "" : "/" + name);
    }
    std::string trash(const std::string &name = {}) const {
        return volume(".Trashes") + (name.empty() ? "" : "/" + name);
    }
    void put(const std::string &path) const { m_folder.make_file(path, "x"); }
    const private_folder &folder() const { return m_folder; }

    // "removed", or the reason and the path.
    std::string removal_of(const std::string &name) {
        const unique_fd held(open(volume().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        m_removed = 0;
        const remove_tree_error error =
            ::remove_tree({held.get(), volume() + "/", name}, m_removed);
        if (error.error_number == 0)
            return "removed" + error.path;
        return std::string(strerrorname_np(error.error_number)) + " " + error.path;
    }
    std::uint64_t removed() const { return m_removed; }

    // The same by a user without root's rights.
    std::string removal_by_ordinary_user(const std::string &name) {
        test_support::process_options options;
        options.user = 65534;
        return test_support::run_body([&] { std::puts(removal_of(name).c_str()); }, options).out;
    }

 private:
    const private_folder m_folder;
    std::map<std::string, std::string> m_precious;
    std::atomic<std::uint64_t> m_removed{0};
};

TEST_F(remove_tree, removes_folder_with_contents_alone) {
    put("volume/.Trashes/two words\n\x80");
    fs::create_directory(trash(std::string(255, 'n')));
    ASSERT_EQ(mkfifo(trash("sub/pipe").c_str(), 0600), 0);
    for (const char *neighbour : {".Trashes2", ".Trashe", ".trashes"})
        put("volume/" + std::string(neighbour));
    EXPECT_EQ(removal_of(".Trashes"), "removed");
    EXPECT_EQ(removed(), 9U);
    EXPECT_EQ(names_in(volume()), ".Trashe .Trashes2 .trashes");
}

// Opening a pipe that no process writes would block.
TEST_F(remove_tree, removes_other_kinds_without_opening_them) {
    const std::string marker = volume("marker");
    put("volume/marker");
    EXPECT_EQ(removal_of("marker"), "removed");
    ASSERT_EQ(mkfifo(marker.c_str(), 0600), 0);
    EXPECT_EQ(removal_of("marker"), "removed");
    sockaddr_un address = {AF_UNIX, {}};
    marker.copy(address.sun_path, sizeof address.sun_path - 1);
    const unique_fd end(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(bind(end.get(), reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    EXPECT_EQ(removal_of("marker"), "removed");
    fs::create_symlink("nowhere", marker);
    EXPECT_EQ(removal_of("marker"), "removed");
    EXPECT_FALSE(exists(marker));
}

TEST_F(remove_tree, removes_device_node_without_opening_it) {
    // No such tape drive exists, so opening it would fail.
    if (mknod(volume("device").c_str(), S_IFCHR | 0600, makedev(9, 0)) != 0)
        GTEST_SKIP() << "this process may not make device nodes: " << std::strerror(errno);
    EXPECT_EQ(removal_of("device"), "removed");
    EXPECT_FALSE(exists(volume("device")));
}

TEST_F(remove_tree, removes_symlink_and_keeps_its_target) {
    for (const std::string &target : {precious(), precious() + "/file"}) {
        fs::create_symlink(target, volume("marker"));
        EXPECT_EQ(removal_of("marker"), "removed");
        EXPECT_FALSE(exists(volume("marker")));
    }
}

TEST_F(remove_tree, follows_no_symlink_in_folder) {
    fs::create_symlink(precious(), trash("folder"));
    fs::create_symlink("../../../precious/sub", trash("sub/relative"));
    fs::create_symlink(precious() + "/file", trash("file link"));
    fs::create_symlink("..", trash("sub/above"));
    fs::create_symlink("nowhere", trash("dangling"));
    EXPECT_EQ(removal_of(".Trashes"), "removed");
    EXPECT_EQ(names_in(volume()), "");
}

TEST_F(remove_tree, keeps_other_names_of_hard_link) {
    fs::create_hard_link(precious() + "/file", trash("sub/link"));
    EXPECT_EQ(removal_of(".Trashes"), "removed");
    EXPECT_EQ(fs::hard_link_count(precious() + "/file"), 1U);
}

TEST_F(remove_tree, says_what_is_missing) {
    EXPECT_EQ(removal_of("none"), "ENOENT " + volume("none"));
    EXPECT_EQ(removed(), 0U);
}

TEST_F(remove_tree, refuses_names_that_are_paths) {
    for (const std::string &name :
         {std::string(), std::string("."), std::string(".."), std::string(".Trashes/sub"),
          std::string("../precious"), std::string("/"), std::string(".Trashes\0", 9)})
        EXPECT_EQ(removal_of(name), "EINVAL " + volume() + "/" + name);
    EXPECT_TRUE(exists(trash("sub/sub/file")));
}

TEST_F(remove_tree, names_folder_that_cannot_be_opened) {
    put("volume/.Trashes/shut/inside");
    put("volume/.Trashes/other/file");
    ASSERT_EQ(chmod(trash("other").c_str(), 0777), 0);
    ASSERT_EQ(chmod(trash("shut").c_str(), 0), 0);
    EXPECT_EQ(removal_by_ordinary_user(".Trashes"), "EACCES " + trash("shut") + "\n");
    EXPECT_EQ(names_in(trash()), "shut shut/inside") << "the rest is removed";
}

TEST_F(remove_tree, names_entry_that_holds_locked_file) {
    put("volume/.Trashes/sub/locked/in/file");
    ASSERT_EQ(chmod(trash("sub/locked/in").c_str(), 0555), 0);
    EXPECT_EQ(removal_by_ordinary_user(".Trashes"), "EACCES " + trash("sub") + "\n");
    EXPECT_TRUE(exists(trash("sub/locked/in/file")));
    EXPECT_EQ(fs::status(trash("sub/locked/in")).permissions(), fs::perms(0555));
}

TEST_F(remove_tree, keeps_contents_of_volume_mounted_in_folder) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    fs::create_directory(trash("sub/with blank"));
    ASSERT_TRUE(mounts.mount_tmpfs(trash("sub/with blank")));
    put("volume/.Trashes/sub/with blank/in/file");
    EXPECT_EQ(removal_of(".Trashes"), "EBUSY " + trash("sub/with blank"));
    EXPECT_TRUE(exists(trash("sub/with blank/in/file")));
    EXPECT_EQ(removed(), 0U);
}

TEST_F(remove_tree, keeps_contents_of_folder_of_same_volume_mounted_in_folder) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    fs::create_directory(trash("bound"));
    ASSERT_TRUE(mounts.mount_bind(precious(), trash("bound")));
    EXPECT_EQ(removal_of(".Trashes"), "EBUSY " + trash("bound"));
}

TEST_F(remove_tree, keeps_file_mounted_in_folder) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    ASSERT_TRUE(mounts.mount_bind(precious() + "/file", trash("file")));
    EXPECT_EQ(removal_of(".Trashes"), "EBUSY " + trash("file"));
}

TEST_F(remove_tree, keeps_folder_that_is_mount_point) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    ASSERT_TRUE(mounts.mount_bind(precious(), trash()));
    EXPECT_EQ(removal_of(".Trashes"), "EBUSY " + trash());
    fs::create_directory(volume("other"));
    ASSERT_TRUE(mounts.mount_tmpfs(volume("other")));
    EXPECT_EQ(removal_of("other"), "EBUSY " + volume("other"));
}

TEST_F(remove_tree, removes_folder_beside_mount_of_similar_name) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    fs::create_directory(volume(".Trashes2"));
    ASSERT_TRUE(mounts.mount_tmpfs(volume(".Trashes2")));
    EXPECT_EQ(removal_of(".Trashes"), "removed");
}

TEST_F(remove_tree, removes_nothing_from_locked_volume) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    ASSERT_TRUE(mounts.mount_tmpfs(volume()));
    put("volume/.Trashes/sub/file");
    ASSERT_TRUE(mounts.mount_at("none", volume(), nullptr, MS_REMOUNT | MS_RDONLY, ""));
    EXPECT_EQ(removal_of(".Trashes"), "EROFS " + trash("sub"));
    EXPECT_EQ(names_in(trash()), "sub sub/file");
}

// A thread keeps exchanging a folder for a symlink to the precious folder.
TEST_F(remove_tree, never_follows_folder_that_turns_into_symlink) {
    for (const std::string &place : {trash("sub"), trash()}) {
        const std::string link = folder().file("link");
        std::atomic<bool> done{false};
        std::thread swapping([&] {
            while (!done)
                syscall(SYS_renameat2, AT_FDCWD, place.c_str(), AT_FDCWD, link.c_str(),
                        2 /* exchange */);
        });
        for (int round = 0; round < 200 && exists(precious() + "/file"); ++round) {
            symlink(precious().c_str(), link.c_str());
            mkdir(trash().c_str(), 0700);
            mkdir(trash("sub").c_str(), 0700);
            mknod(trash("sub/file").c_str(), S_IFREG | 0600, 0);
            removal_of(".Trashes");
        }
        done = true;
        swapping.join();
        EXPECT_TRUE(exists(precious() + "/sub/sub/file"));
    }
}

}  // namespace remove_tree_tests
