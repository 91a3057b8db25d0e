// SPDX-License-Identifier: GPL-3.0-or-later
// One run at a time on a volume, with real locks and with staged errors.
#include "volume/run_lock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdarg>
#include <filesystem>
#include <thread>

#include "support.h"
#include "volume/volume.h"

using volume_tests::private_folder;
using volume_tests::private_mounts;
using volume_tests::run_program;
using volume_tests::within_a_minute;

namespace {

// errno of flock() and bind(); 0 calls the system.
std::atomic<int> staged_error{0};
std::atomic<bool> stays_silent{false};
std::atomic<bool> opens_slowly{false};

struct staged_answer {
    explicit staged_answer(int error) { staged_error = error; }
    ~staged_answer() { staged_error = 0; }
    staged_answer(const staged_answer &) = delete;
    staged_answer &operator=(const staged_answer &) = delete;
};

// The number of no file system here, nor of another test program's.
const dev_t of_nobody = makedev(4094, static_cast<unsigned>(getpid()));

// Takes the folder's lock, again if a busy machine lets the request time out.
run_lock_state take(run_lock &lock, const std::string &folder) {
    run_lock_answer answer;
    EXPECT_TRUE(within_a_minute([&] {
        answer = lock.take(folder);
        return answer.error != ETIMEDOUT;
    }));
    return answer.state;
}

void expect_failed(const run_lock_answer &answer, int error) {
    EXPECT_EQ(answer.state, run_lock_state::failed) << error;
    EXPECT_EQ(answer.error, error);
}

dev_t device_of(const std::string &path) {
    volume_info info;
    std::string error;
    EXPECT_TRUE(volume_describe(path, info, error)) << error;
    return info.device;
}

}  // namespace

// Replaces the C library's.
extern "C" int flock(int fd, int operation) noexcept {
    while (stays_silent)
        std::this_thread::sleep_for(std::chrono::milliseconds{10});
    if (staged_error != 0) {
        errno = staged_error;
        return -1;
    }
    return static_cast<int>(syscall(SYS_flock, fd, operation));
}

extern "C" int bind(int fd, const sockaddr *address, socklen_t length) noexcept {
    if (staged_error != 0) {
        errno = staged_error;
        return -1;
    }
    return static_cast<int>(syscall(SYS_bind, fd, address, length));
}

// NOLINTNEXTLINE(cert-dcl50-cpp): the system's call has this form.
extern "C" int open(const char *path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const unsigned mode = (flags & O_CREAT) != 0 ? va_arg(rest, unsigned) : 0;
    va_end(rest);
    if (opens_slowly)
        std::this_thread::sleep_for(std::chrono::milliseconds{1500});
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

TEST(run_lock, refuses_second_run_until_first_ends) {
    const private_folder folder;
    run_lock second;
    {
        run_lock first;
        EXPECT_EQ(take(first, folder.path()), run_lock_state::taken);
        EXPECT_EQ(take(second, folder.path()), run_lock_state::locked);
        EXPECT_EQ(take(second, folder.path() + "/./"), run_lock_state::locked);
    }
    EXPECT_EQ(take(second, folder.path()), run_lock_state::taken);
}

TEST(run_lock, takes_its_own_folder_again) {
    const private_folder folder;
    run_lock lock;
    EXPECT_EQ(take(lock, folder.path()), run_lock_state::taken);
    EXPECT_EQ(take(lock, folder.path()), run_lock_state::taken);
    EXPECT_EQ(take(lock, folder.make_folder("other")), run_lock_state::taken);
    run_lock second;
    EXPECT_EQ(take(second, folder.path()), run_lock_state::locked);
    EXPECT_EQ(take(second, folder.path() + "/other"), run_lock_state::locked);
}

TEST(run_lock, writes_nothing_and_ends_with_process) {
    const private_folder folder;
    int ready[2] = {-1, -1};
    ASSERT_EQ(pipe2(ready, O_CLOEXEC), 0);
    const pid_t holder = fork();
    if (holder == 0) {
        run_lock lock;
        const char taken = take(lock, folder.path()) == run_lock_state::taken ? 'y' : 'n';
        if (write(ready[1], &taken, 1) == 1)
            pause();
        _exit(1);
    }
    char taken = 0;
    EXPECT_EQ(read(ready[0], &taken, 1), 1);
    EXPECT_EQ(taken, 'y');
    run_lock lock;
    EXPECT_EQ(take(lock, folder.path()), run_lock_state::locked);
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
    kill(holder, SIGKILL);
    EXPECT_EQ(waitpid(holder, nullptr, 0), holder);
    close(ready[0]);
    close(ready[1]);
    EXPECT_EQ(take(lock, folder.path()), run_lock_state::taken);
}

TEST(run_lock, is_not_inherited_by_child) {
    const private_folder folder;
    const std::string script = "test -z \"$(find /proc/$$/fd -lname '" + folder.path() + "')\"";
    run_lock lock;
    EXPECT_EQ(take(lock, folder.path()), run_lock_state::taken);
    EXPECT_EQ(run_program({"sh", "-c", script}), 0);
    const int inherited = open(folder.path().c_str(), O_RDONLY);
    EXPECT_EQ(run_program({"sh", "-c", script}), 1) << "the script sees inherited files";
    close(inherited);
}

TEST(run_lock, tells_error_where_system_cannot_lock) {
    const private_folder folder;
    for (const int error : {ENOTSUP, ENOLCK, ENOSYS, EIO, EINVAL, EBADF}) {
        const staged_answer answer(error);
        run_lock lock;
        expect_failed(lock.take(folder.path()), error);
        expect_failed(lock.take_file_system(of_nobody), error);
    }
    run_lock nowhere;
    expect_failed(nowhere.take(folder.path() + "/missing"), ENOENT);
    expect_failed(nowhere.take(folder.make_file("file", "x")), ENOTDIR);
}

TEST(run_lock, tells_foreign_lock_from_another_run) {
    const private_folder folder;
    const int foreign = open(folder.path().c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(foreign, LOCK_EX), 0);
    run_lock first;
    EXPECT_EQ(first.take_file_system(of_nobody).state, run_lock_state::taken);
    EXPECT_EQ(take(first, folder.path()), run_lock_state::locked);
    run_lock second;
    EXPECT_EQ(second.take_file_system(of_nobody).state, run_lock_state::held_by_run);
    close(foreign);
    EXPECT_EQ(take(first, folder.path()), run_lock_state::taken);
}

TEST(run_lock, refuses_second_run_when_opening_is_slow) {
    const private_folder folder;
    run_lock first;
    run_lock second;
    EXPECT_EQ(take(first, folder.path()), run_lock_state::taken);
    opens_slowly = true;
    EXPECT_EQ(take(second, folder.path()), run_lock_state::locked);
    opens_slowly = false;
}

TEST(run_lock, gives_up_on_silent_file_system) {
    const private_folder folder;
    stays_silent = true;
    run_lock first;
    expect_failed(first.take(folder.path()), ETIMEDOUT);  // returns while flock() does not
    stays_silent = false;
    // The detached thread releases the lock that it gets so late.
    EXPECT_TRUE(within_a_minute([&] {
        run_lock second;
        return second.take(folder.path()).state == run_lock_state::taken;
    }));
}

TEST(run_lock, refuses_second_run_through_another_mount) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const std::string card = mounts.folder().make_folder("card");
    const std::string view = mounts.folder().make_folder("view");
    const std::string other = mounts.folder().make_folder("other");
    ASSERT_TRUE(mounts.mount_tmpfs(card));
    ASSERT_TRUE(mounts.mount_tmpfs(other));
    ASSERT_TRUE(mounts.mount_bind(mounts.folder().make_folder("card/inside"), view));
    run_lock second;
    {
        run_lock first;
        EXPECT_EQ(first.take_file_system(device_of(card)).state, run_lock_state::taken);
        EXPECT_EQ(first.take_file_system(device_of(view)).state, run_lock_state::taken)
            << "not refused by itself";
        EXPECT_EQ(second.take_file_system(device_of(view)).state, run_lock_state::held_by_run);
        EXPECT_EQ(second.take_file_system(device_of(card)).state, run_lock_state::held_by_run);
        EXPECT_EQ(second.take_file_system(device_of(other)).state, run_lock_state::taken);
    }
    EXPECT_TRUE(std::filesystem::is_empty(view));
    EXPECT_EQ(second.take_file_system(device_of(view)).state, run_lock_state::taken)
        << "given back";
}

TEST(run_lock, refuses_second_run_through_another_subvolume) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    if (!volume_tests::has_program("mkfs.btrfs") || !volume_tests::has_program("btrfs"))
        GTEST_SKIP() << "btrfs-progs is not installed";
    const std::string image = mounts.folder().make_file("image", "");
    std::filesystem::resize_file(image, std::uintmax_t{128} << 20);
    ASSERT_EQ(run_program({"mkfs.btrfs", "-q", image}), 0);
    const std::string node = mounts.attach_loop(image);
    const std::string card = mounts.folder().make_folder("card");
    const std::string view = mounts.folder().make_folder("view");
    if (node.empty() || mount(node.c_str(), card.c_str(), "btrfs", 0, nullptr) != 0)
        GTEST_SKIP() << "no btrfs can be mounted here";
    mounts.note_mount(card);
    ASSERT_EQ(run_program({"btrfs", "subvolume", "create", card + "/part"}), 0);
    ASSERT_TRUE(mounts.mount_at(node, view, "btrfs", 0, "subvol=part"));
    run_lock first;
    run_lock second;
    EXPECT_EQ(first.take_file_system(device_of(card)).state, run_lock_state::taken);
    EXPECT_EQ(second.take_file_system(device_of(view)).state, run_lock_state::held_by_run);
}

TEST(run_lock, of_file_system_is_not_inherited_and_ends_with_process) {
    const std::string name =
        "trovik-run-" + std::to_string(major(of_nobody)) + ":" + std::to_string(minor(of_nobody));
    // Finds the socket's inode in the kernel's table, then looks for it among the script's files.
    const std::string script = "number=$(sed -n 's/.* \\([0-9]*\\) @" + name +
                               "$/\\1/p' /proc/net/unix); test -n \"$number\" || exit 2; "
                               "test -z \"$(find /proc/$$/fd -lname \"socket:?$number?\")\"";
    const pid_t holder = fork();
    if (holder == 0) {
        run_lock lock;
        const bool taken = lock.take_file_system(of_nobody).state == run_lock_state::taken;
        _exit(taken ? run_program({"sh", "-c", script}) : 3);
    }
    int status = 0;
    EXPECT_EQ(waitpid(holder, &status, 0), holder);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    run_lock next;
    EXPECT_EQ(next.take_file_system(of_nobody).state, run_lock_state::taken);
}
