// SPDX-License-Identifier: GPL-3.0-or-later
/* Names, folders and attributes through the kernel. */
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>

#include "practice_mount.h"
#include "test_bytes.h"

namespace {

class fuse_entries : public practice_mount {
 protected:
    void write_file(const std::string &name, const std::vector<std::byte> &bytes) {
        const open_file file(path(name), O_WRONLY | O_CREAT | O_TRUNC);
        size_t done = 0;
        while (done < bytes.size()) {
            const ssize_t put = write(file.fd(), bytes.data() + done, bytes.size() - done);
            ASSERT_GT(put, 0);
            done += static_cast<size_t>(put);
        }
    }
    void expect_file(const std::string &name, const std::vector<std::byte> &bytes) {
        std::vector<std::byte> seen;
        EXPECT_EQ(read_to_end(path(name), &seen), 0);
        EXPECT_TRUE(seen == bytes) << name;
    }
    void drop_memory(const std::string &name) {
        const open_file file(path(name), O_RDONLY);
        ASSERT_EQ(posix_fadvise(file.fd(), 0, 0, POSIX_FADV_DONTNEED), 0);
    }
};

}  // namespace

TEST_F(fuse_entries, files_in_folders_keep_every_bit) {
    mount_card({"--size=32M"});
    const std::string folder = "d\xC3\xA4ten \xE2\x98\x83";
    ASSERT_EQ(mkdir(path(folder).c_str(), 0755), 0);
    ASSERT_EQ(mkdir(path(folder + "/deeper").c_str(), 0755), 0);
    const std::string large = folder + "/deeper/\xE6\x97\xA5\xE6\x9C\xAC.fff";
    const auto large_bytes = test_bytes(10 << 20, 1);
    const auto odd_bytes = test_bytes(1000003, 2);
    write_file(large, large_bytes);
    write_file(folder + "/odd", odd_bytes);
    write_file("empty", {});
    for (const std::string &name : {large, folder + "/odd", std::string("empty")}) {
        drop_memory(name);
    }
    expect_file(large, large_bytes);
    expect_file(folder + "/odd", odd_bytes);
    expect_file("empty", {});
}

TEST_F(fuse_entries, renaming_moves_between_folders_and_replaces) {
    mount_card({});
    ASSERT_EQ(mkdir(path("d").c_str(), 0755), 0);
    const auto bytes = test_bytes(5000, 1);
    write_file("a", bytes);
    write_file("d/b", test_bytes(3000, 2));
    ASSERT_EQ(rename(path("a").c_str(), path("d/b").c_str()), 0);
    expect_file("d/b", bytes);
    EXPECT_EQ(access(path("a").c_str(), F_OK), -1);
    ASSERT_EQ(rename(path("d").c_str(), path("e").c_str()), 0);
    expect_file("e/b", bytes);
}

TEST_F(fuse_entries, unlinked_open_file_can_be_read) {
    mount_card({});
    const auto bytes = test_bytes(9000, 1);
    write_file("a", bytes);
    drop_memory("a");
    const open_file file(path("a"), O_RDONLY);
    ASSERT_EQ(unlink(path("a").c_str()), 0);
    std::vector<std::byte> seen(9000);
    ASSERT_EQ(read(file.fd(), seen.data(), seen.size()), 9000);
    EXPECT_TRUE(seen == bytes);
}

TEST_F(fuse_entries, folder_can_be_emptied_during_listing) {
    mount_card({});
    constexpr int count = 500;
    for (int i = 0; i < count; ++i) {
        write_file("file-" + std::to_string(i), {});
    }
    std::set<std::string> seen;
    DIR *folder = opendir(mount_point().c_str());
    ASSERT_NE(folder, nullptr);
    while (const dirent *entry = readdir(folder)) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") {
            EXPECT_EQ(entry->d_type, DT_REG);
            EXPECT_TRUE(seen.insert(name).second) << name;
            EXPECT_EQ(unlink(path(name).c_str()), 0) << name;
        }
    }
    closedir(folder);
    EXPECT_EQ(seen.size(), static_cast<size_t>(count));
    EXPECT_EQ(rmdir(mount_point().c_str()), -1);
    EXPECT_TRUE(std::filesystem::is_empty(mount_point()));
}

TEST_F(fuse_entries, attributes_can_be_changed) {
    mount_card({});
    write_file("a", test_bytes(1000, 1));
    ASSERT_EQ(chmod(path("a").c_str(), 0640), 0);
    const timespec times[2] = {{1000000000, 5}, {1100000000, 7}};
    ASSERT_EQ(utimensat(AT_FDCWD, path("a").c_str(), times, 0), 0);
    struct stat facts = {};
    ASSERT_EQ(stat(path("a").c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode, S_IFREG | 0640U);
    EXPECT_EQ(facts.st_atim.tv_sec, 1000000000);
    EXPECT_EQ(facts.st_mtim.tv_nsec, 7);
    EXPECT_EQ(facts.st_size, 1000);
    EXPECT_EQ(facts.st_blocks, 2);
    if (geteuid() == 0) {
        ASSERT_EQ(chown(path("a").c_str(), 12, 34), 0);
        ASSERT_EQ(stat(path("a").c_str(), &facts), 0);
        EXPECT_EQ(facts.st_uid, 12U);
        EXPECT_EQ(facts.st_gid, 34U);
    }
}

TEST_F(fuse_entries, cutting_and_extending_file_leaves_zeros) {
    mount_card({});
    auto bytes = test_bytes(9000, 1);
    write_file("a", bytes);
    ASSERT_EQ(truncate(path("a").c_str(), 4500), 0);
    ASSERT_EQ(truncate(path("a").c_str(), 12000), 0);
    bytes.resize(4500);
    bytes.resize(12000);
    expect_file("a", bytes);
    drop_memory("a");
    expect_file("a", bytes);
}

TEST_F(fuse_entries, supports_symlinks_and_fifos_but_no_hard_links) {
    mount_card({});
    write_file("a", {});
    ASSERT_EQ(symlink("a", path("link").c_str()), 0);
    ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
    struct stat facts = {};
    ASSERT_EQ(lstat(path("link").c_str(), &facts), 0);
    EXPECT_TRUE(S_ISLNK(facts.st_mode));
    EXPECT_EQ(facts.st_size, 1);
    EXPECT_EQ(std::filesystem::read_symlink(path("link")), "a");
    ASSERT_EQ(lstat(path("fifo").c_str(), &facts), 0);
    EXPECT_TRUE(S_ISFIFO(facts.st_mode));
    errno = 0;
    EXPECT_EQ(link(path("a").c_str(), path("b").c_str()), -1);
    EXPECT_EQ(errno, EPERM);
}

TEST_F(fuse_entries, refuses_one_entry_more_than_root_folder_takes) {
    mount_card({"--root-entries=2"});
    ASSERT_EQ(mkdir(path("a").c_str(), 0755), 0);
    std::ofstream(path("b")) << "x";
    errno = 0;
    EXPECT_EQ(open(path("c").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644), -1);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(mkdir(path("d").c_str(), 0755), -1);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(mkdir(path("a/d").c_str(), 0755), 0) << "only the root folder's room is fixed";
    ASSERT_EQ(unlink(path("b").c_str()), 0);
    EXPECT_EQ(mkdir(path("d").c_str(), 0755), 0);
}
