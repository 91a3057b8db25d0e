// SPDX-License-Identifier: GPL-3.0-or-later
// Without the id of a path's mount, the mount table leads to the same answers. The first test
// forbids statx(2). In the second, this program's own `statx` leaves the field empty, as an
// emulator of system calls does.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>

#include "../support/forbid_statx.h"
#include "support.h"
#include "volume/volume.h"

namespace {

using volume_tests::described;
using volume_tests::is_root;
using volume_tests::private_mounts;

std::atomic<bool> ids_are_empty{false};

struct with_empty_ids {
    with_empty_ids() { ids_are_empty = true; }
    ~with_empty_ids() { ids_are_empty = false; }
    with_empty_ids(const with_empty_ids &) = delete;
    with_empty_ids &operator=(const with_empty_ids &) = delete;
};

// A volume that covers another one, a link into it, and a view of a part of it.
struct covered_volume {
    explicit covered_volume(private_mounts &mounts)
        : card(mounts.folder().make_folder("card")), view(mounts.folder().make_folder("view")) {
        EXPECT_TRUE(mounts.mount_tmpfs(card, "size=1m"));
        EXPECT_TRUE(mounts.mount_tmpfs(card, "size=2m"));
        const std::string deep = mounts.folder().make_folder("card/a/b");
        link = mounts.folder().make_link("link", deep);
        EXPECT_TRUE(mounts.mount_bind(deep, view));
    }
    std::string card;
    std::string view;
    std::string link;
};

bool same_file_system(const std::string &one, const std::string &other) {
    bool same = false;
    std::string error;
    EXPECT_TRUE(volume_same_file_system(one, other, same, error)) << error;
    return same;
}

void expect_the_same_answers(const covered_volume &volume) {
    EXPECT_EQ(volume_tests::kernel_mount_id("/"), -1);
    EXPECT_EQ(described(volume.link).root, volume.card);
    EXPECT_EQ(described(volume.card).capacity_bytes, 2U << 20);
    EXPECT_EQ(described(volume.view).root, volume.view);
    EXPECT_TRUE(is_root(volume.card));
    EXPECT_TRUE(is_root(volume.view));
    EXPECT_FALSE(is_root(volume.link));
    EXPECT_TRUE(same_file_system(volume.card, volume.view));
    EXPECT_FALSE(same_file_system("/", volume.view));
    volume_info info;
    std::string error;
    EXPECT_FALSE(volume_describe("/nowhere", info, error)) << info.root;
    EXPECT_EQ(error, "/nowhere: cannot be looked at: No such file or directory");
}

}  // namespace

extern "C" int statx(int folder, const char *path, int flags, unsigned mask, struct statx *status) {
    using function = int (*)(int, const char *, int, unsigned, struct statx *);
    static const auto next = reinterpret_cast<function>(dlsym(RTLD_NEXT, "statx"));
    const int result = next(folder, path, flags, mask, status);
    if (ids_are_empty && result == 0)
        status->stx_mnt_id = 0;
    return result;
}

TEST(mount_ids_linux, are_not_needed_for_same_answers) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const covered_volume volume(mounts);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (!test_support::forbid_statx())
            _exit(125);
        expect_the_same_answers(volume);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 125)
        GTEST_SKIP() << "system calls cannot be filtered here";
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(mount_ids_linux, are_ignored_when_empty) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const covered_volume volume(mounts);
    const with_empty_ids empty;
    expect_the_same_answers(volume);
}
