// Real mounts for the tests. A namespace of the process's own carries them; the guard still
// unmounts in reverse order, because a mount that stays would keep the next test's folder busy.
#include "support.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/loop.h>
#include <sched.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace volume_tests {

namespace {

namespace fs = std::filesystem;

// The namespace is the process's: entered once, left by its end.
bool enter_namespace() {
    static const bool entered =
        unshare(CLONE_NEWNS) == 0 && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    return entered;
}

std::string program_path(const std::string &name) {
    if (name.find('/') != std::string::npos) {
        return name;
    }
    for (const char *folder : {"/usr/local/sbin", "/usr/sbin", "/sbin", "/usr/bin", "/bin"}) {
        std::string path = std::string(folder) + "/" + name;
        if (access(path.c_str(), X_OK) == 0) {
            return path;
        }
    }
    return {};
}

}  // namespace

private_folder::private_folder() {
    std::string pattern = "/tmp/trovik-volume-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        ADD_FAILURE() << "mkdtemp: " << std::strerror(errno);
        return;
    }
    m_path = pattern;
}

private_folder::~private_folder() {
    if (!m_path.empty()) {
        std::error_code error;
        fs::remove_all(m_path, error);
        EXPECT_FALSE(error) << m_path << ": " << error.message();
    }
}

std::string private_folder::make_folder(const std::string &name) const {
    std::string path = m_path + "/" + name;
    fs::create_directories(path);
    return path;
}

std::string private_folder::make_file(const std::string &name, const std::string &content) const {
    std::string path = m_path + "/" + name;
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << content;
    return path;
}

std::string private_folder::make_link(const std::string &name, const std::string &target) const {
    std::string path = m_path + "/" + name;
    fs::create_directories(fs::path(path).parent_path());
    fs::create_symlink(target, path);
    return path;
}

private_mounts::private_mounts() : m_possible(enter_namespace()) {}

private_mounts::~private_mounts() {
    for (auto target = m_targets.rbegin(); target != m_targets.rend(); ++target) {
        if (umount2(target->c_str(), UMOUNT_NOFOLLOW) != 0 &&
            umount2(target->c_str(), UMOUNT_NOFOLLOW | MNT_DETACH) != 0) {
            ADD_FAILURE() << *target << ": cannot be unmounted: " << std::strerror(errno);
        }
    }
    for (const int loop : m_loops) {
        ioctl(loop, LOOP_CLR_FD, 0);
        close(loop);
    }
}

bool private_mounts::mount_at(const std::string &source, const std::string &target,
                              const char *type, unsigned long flags, const std::string &options) {
    if (mount(source.c_str(), target.c_str(), type, flags, options.c_str()) != 0) {
        ADD_FAILURE() << target << ": cannot be mounted: " << std::strerror(errno);
        return false;
    }
    if ((flags & MS_REMOUNT) == 0) {
        m_targets.push_back(target);
    }
    return true;
}

bool private_mounts::mount_tmpfs(const std::string &target, const std::string &options) {
    return mount_at("tmpfs", target, "tmpfs", 0, options);
}

bool private_mounts::mount_bind(const std::string &source, const std::string &target) {
    return mount_at(source, target, nullptr, MS_BIND, "");
}

std::string private_mounts::attach_loop(const std::string &file) {
    const int backing = open(file.c_str(), O_RDWR | O_CLOEXEC);
    const int control = open("/dev/loop-control", O_RDWR | O_CLOEXEC);
    std::string node;
    // Somebody else may take the free device between the two requests.
    for (int tries = 0; backing >= 0 && control >= 0 && node.empty() && tries < 20; ++tries) {
        const int number = ioctl(control, LOOP_CTL_GET_FREE);
        if (number < 0) {
            break;
        }
        const std::string name = "/dev/loop" + std::to_string(number);
        const int loop = open(name.c_str(), O_RDWR | O_CLOEXEC);
        loop_config config = {};
        config.fd = static_cast<__u32>(backing);
        config.info.lo_flags = LO_FLAGS_AUTOCLEAR;
        if (loop >= 0 && ioctl(loop, LOOP_CONFIGURE, &config) == 0) {
            m_loops.push_back(loop);
            node = name;
        } else if (loop >= 0) {
            close(loop);
        }
    }
    for (const int descriptor : {backing, control}) {
        if (descriptor >= 0) {
            close(descriptor);
        }
    }
    return node;
}

int run_program(const std::vector<std::string> &words) {
    const std::string program = program_path(words.front());
    std::vector<char *> arguments;
    std::vector<std::string> copies = words;
    arguments.reserve(copies.size() + 1);
    for (std::string &word : copies) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = 0;
    const int result =
        posix_spawn(&child, program.c_str(), &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    if (result != 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status)) {
        return -1;
    }
    return WEXITSTATUS(status);
}

bool has_program(const std::string &name) {
    return !program_path(name).empty();
}

int kernel_mount_id(const std::string &path) {
    struct statx status = {};
    if (statx(AT_FDCWD, path.c_str(), 0, STATX_MNT_ID, &status) != 0 ||
        (status.stx_mask & STATX_MNT_ID) == 0 || status.stx_mnt_id == 0) {
        return -1;
    }
    return static_cast<int>(status.stx_mnt_id);
}

dev_t node_number(const std::string &node) {
    struct stat status = {};
    EXPECT_EQ(stat(node.c_str(), &status), 0) << node;
    return status.st_rdev;
}

volume_info described(const std::string &path) {
    volume_info info;
    std::string error;
    EXPECT_TRUE(volume_describe(path, info, error)) << error;
    return info;
}

bool is_root(const std::string &path) {
    bool answer = false;
    std::string error;
    EXPECT_TRUE(volume_is_mount_root(path, answer, error)) << error;
    return answer;
}

}  // namespace volume_tests
