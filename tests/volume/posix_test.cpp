// SPDX-License-Identifier: GPL-3.0-or-later
// Owners, retries and texts around POSIX calls.
#include "volume/posix.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "support.h"

using volume_tests::private_folder;

TEST(posix, closes_descriptor_keeping_errno) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe(ends), 0);
    errno = EXDEV;
    {
        const unique_fd reader(ends[0]);
        unique_fd writer(ends[1]);
        const unique_fd owner = std::move(writer);
        EXPECT_FALSE(writer.is_open());  // NOLINT(bugprone-use-after-move): that is tested
        EXPECT_TRUE(owner.is_open());
    }
    EXPECT_EQ(errno, EXDEV);
    for (const int fd : ends)
        EXPECT_EQ(fcntl(fd, F_GETFD), -1);
}

TEST(posix, knows_file_by_descriptor_whatever_its_name) {
    const private_folder folder;
    const std::string path = folder.make_file("file", "x");
    const unique_fd held(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::filesystem::rename(path, folder.path() + "/renamed");
    folder.make_file("file", "x");
    struct stat status = {};
    ASSERT_EQ(stat((folder.path() + "/renamed").c_str(), &status), 0);
    EXPECT_TRUE(held.leads_to(status));
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_FALSE(held.leads_to(status));
}

TEST(posix, retries_interrupted_calls_only) {
    int calls = 0;
    const auto call = [&] {
        errno = ++calls < 3 ? EINTR : EIO;
        return -1;
    };
    EXPECT_EQ(retry_eintr(call), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(calls, 3);
}

TEST(posix, resolves_links_in_path) {
    const private_folder folder;
    folder.make_folder("real");
    folder.make_link("link", "real");
    EXPECT_EQ(real_path(folder.path() + "/link/../link"), real_path(folder.path()) + "/real");
    EXPECT_EQ(real_path(folder.path() + "/missing"), "");
    EXPECT_EQ(errno, ENOENT);
}

TEST(posix, names_path_in_error) {
    EXPECT_EQ(path_error("/a\nb\\\x9B", "cannot be looked at", ENOENT),
              "/a\nb\\\x9B: cannot be looked at: No such file or directory");
}

TEST(posix, finds_last_name) {
    EXPECT_EQ(last_name("/media/CARD"), "CARD");
    EXPECT_EQ(last_name("/CARD"), "CARD");
    EXPECT_EQ(last_name("/"), "/");
}
