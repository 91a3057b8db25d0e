// One run at a time on a volume, whatever its file system thinks of locks.
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

namespace {

// What the system answers to a lock; 0: the real one does.
std::atomic<int> staged_error{0};
std::atomic<bool> stays_silent{false};
std::atomic<bool> opens_slowly{false};

struct staged_answer {
    explicit staged_answer(int error) { staged_error = error; }
    ~staged_answer() { staged_error = 0; }
    staged_answer(const staged_answer &) = delete;
    staged_answer &operator=(const staged_answer &) = delete;
};

// No file system of this machine's, and no other test's.
const dev_t of_nobody = makedev(4094, static_cast<unsigned>(getpid()));

dev_t device_of(const std::string &path) {
    volume_info info;
    std::string error;
    EXPECT_TRUE(volume_describe(path, info, error)) << error;
    return info.device;
}

}  // namespace

// In place of the C library's.
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

TEST(run_lock, a_second_run_is_refused_until_the_first_has_ended) {
    const private_folder folder;
    run_lock second;
    {
        run_lock first;
        EXPECT_TRUE(first.take(folder.path()));
        EXPECT_FALSE(second.take(folder.path()));
        EXPECT_FALSE(second.take(folder.path() + "/./"));
    }
    EXPECT_TRUE(second.take(folder.path()));
}

TEST(run_lock, a_folder_that_is_held_already_may_be_asked_for_again) {
    const private_folder folder;
    run_lock lock;
    EXPECT_TRUE(lock.take(folder.path()));
    EXPECT_TRUE(lock.take(folder.path()));
    EXPECT_TRUE(lock.take(folder.make_folder("other")));
    run_lock second;
    EXPECT_FALSE(second.take(folder.path()));
    EXPECT_FALSE(second.take(folder.path() + "/other"));
}

TEST(run_lock, writes_nothing_and_ends_with_the_process_however_it_ends) {
    const private_folder folder;
    int ready[2] = {-1, -1};
    ASSERT_EQ(pipe2(ready, O_CLOEXEC), 0);
    const pid_t holder = fork();
    if (holder == 0) {
        run_lock lock;
        const char taken = lock.take(folder.path()) ? 'y' : 'n';
        if (write(ready[1], &taken, 1) == 1)
            pause();
        _exit(1);
    }
    char taken = 0;
    EXPECT_EQ(read(ready[0], &taken, 1), 1);
    EXPECT_EQ(taken, 'y');
    run_lock lock;
    EXPECT_FALSE(lock.take(folder.path()));
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
    kill(holder, SIGKILL);
    EXPECT_EQ(waitpid(holder, nullptr, 0), holder);
    close(ready[0]);
    close(ready[1]);
    EXPECT_TRUE(lock.take(folder.path()));
}

TEST(run_lock, a_program_started_meanwhile_does_not_inherit_it) {
    const private_folder folder;
    const std::string script = "test -z \"$(find /proc/$$/fd -lname '" + folder.path() + "')\"";
    run_lock lock;
    EXPECT_TRUE(lock.take(folder.path()));
    EXPECT_EQ(run_program({"sh", "-c", script}), 0);
    const int inherited = open(folder.path().c_str(), O_RDONLY);
    EXPECT_EQ(run_program({"sh", "-c", script}), 1) << "the script sees what is inherited";
    close(inherited);
}

TEST(run_lock, a_file_system_that_cannot_lock_does_not_stop_a_run) {
    const private_folder folder;
    for (const int error : {ENOTSUP, ENOLCK, ENOSYS, EIO, EINVAL, EBADF}) {
        const staged_answer answer(error);
        run_lock first;
        run_lock second;
        EXPECT_TRUE(first.take(folder.path())) << error;
        EXPECT_TRUE(second.take(folder.path())) << error;
        EXPECT_TRUE(first.take_file_system(of_nobody)) << error;
        EXPECT_TRUE(second.take_file_system(of_nobody)) << error;
    }
    run_lock nowhere;
    EXPECT_TRUE(nowhere.take(folder.path() + "/missing"));
    EXPECT_TRUE(nowhere.take(folder.make_file("file", "x")));
}

TEST(run_lock, a_second_run_is_refused_by_a_card_that_is_too_busy_with_the_first_to_open_a_folder) {
    const private_folder folder;
    run_lock first;
    run_lock second;
    EXPECT_TRUE(first.take(folder.path()));
    opens_slowly = true;
    EXPECT_FALSE(second.take(folder.path()));
    opens_slowly = false;
}

TEST(run_lock, a_file_system_that_does_not_answer_is_not_waited_for_and_holds_nothing_later) {
    const private_folder folder;
    const auto begin = std::chrono::steady_clock::now();
    stays_silent = true;
    run_lock first;
    EXPECT_TRUE(first.take(folder.path()));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds{20});
    stays_silent = false;
    // The thread left behind gives back what it is given so late.
    bool taken = false;
    for (int i = 0; i < 1000 && !taken; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds{10});
        run_lock second;
        taken = second.take(folder.path());
    }
    EXPECT_TRUE(taken);
}

TEST(run_lock, of_a_file_system_is_one_for_all_that_is_mounted_of_it) {
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
        EXPECT_TRUE(first.take_file_system(device_of(card)));
        EXPECT_TRUE(first.take_file_system(device_of(view))) << "not refused by itself";
        EXPECT_FALSE(second.take_file_system(device_of(view)));
        EXPECT_FALSE(second.take_file_system(device_of(card)));
        EXPECT_TRUE(second.take_file_system(device_of(other)));
    }
    EXPECT_TRUE(std::filesystem::is_empty(view));
    EXPECT_TRUE(second.take_file_system(device_of(view))) << "given back";
}

TEST(run_lock, of_a_file_system_is_one_for_two_subvolumes_of_a_pool) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    if (!volume_tests::has_program("mkfs.btrfs") || !volume_tests::has_program("btrfs")) {
        GTEST_SKIP() << "btrfs-progs is not installed";
    }
    const std::string image = mounts.folder().make_file("image", "");
    std::filesystem::resize_file(image, std::uintmax_t{128} << 20);
    ASSERT_EQ(run_program({"mkfs.btrfs", "-q", image}), 0);
    const std::string node = mounts.attach_loop(image);
    const std::string card = mounts.folder().make_folder("card");
    const std::string view = mounts.folder().make_folder("view");
    if (node.empty() || mount(node.c_str(), card.c_str(), "btrfs", 0, nullptr) != 0) {
        GTEST_SKIP() << "no btrfs can be mounted here";
    }
    mounts.note_mount(card);
    ASSERT_EQ(run_program({"btrfs", "subvolume", "create", card + "/part"}), 0);
    ASSERT_TRUE(mounts.mount_at(node, view, "btrfs", 0, "subvol=part"));
    run_lock first;
    run_lock second;
    EXPECT_TRUE(first.take_file_system(device_of(card)));
    EXPECT_FALSE(second.take_file_system(device_of(view)));
}

TEST(run_lock, of_a_file_system_is_not_inherited_and_ends_with_the_process) {
    const std::string name =
        "trovik-run-" + std::to_string(major(of_nobody)) + ":" + std::to_string(minor(of_nobody));
    // Its number in the kernel's table, and whether the script has it open.
    const std::string script = "number=$(sed -n 's/.* \\([0-9]*\\) @" + name +
                               "$/\\1/p' /proc/net/unix); test -n \"$number\" || exit 2; "
                               "test -z \"$(find /proc/$$/fd -lname \"socket:?$number?\")\"";
    const pid_t holder = fork();
    if (holder == 0) {
        run_lock lock;
        const bool taken = lock.take_file_system(of_nobody);
        _exit(taken ? run_program({"sh", "-c", script}) : 3);
    }
    int status = 0;
    EXPECT_EQ(waitpid(holder, &status, 0), holder);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    run_lock next;
    EXPECT_TRUE(next.take_file_system(of_nobody));
}
