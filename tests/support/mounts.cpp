// SPDX-License-Identifier: GPL-3.0-or-later
#include "mounts.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/loop.h>
#include <linux/magic.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace test_support {

namespace {

// Before any test, as only the thread that asks changes its namespace.
class own_namespace : public testing::Environment {
 public:
    void SetUp() override { enter_private_mounts(); }
};

const testing::Environment *const environment =
    testing::AddGlobalTestEnvironment(new own_namespace);

}  // namespace

const std::string &enter_private_mounts() {
    static const std::string reason = [] {
        if (unshare(CLONE_NEWNS) == 0 &&
            mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0)
            return std::string();
        return std::string("this process may not mount (needs root with CAP_SYS_ADMIN): ") +
               std::strerror(errno);
    }();
    return reason;
}

std::string missing_for_mounts() {
    return enter_private_mounts();
}

bool is_mount_root(const std::string &folder) {
    struct stat here = {};
    struct stat above = {};
    return stat(folder.c_str(), &here) == 0 && stat((folder + "/..").c_str(), &above) == 0 &&
           here.st_dev != above.st_dev;
}

// Another process can take the free device first.
int attach_loop(const std::string &file, std::string *device) {
    const int image = open(file.c_str(), O_RDWR | O_CLOEXEC);
    const int control = open("/dev/loop-control", O_RDWR | O_CLOEXEC);
    int attached = -1;
    for (int attempt = 0; image >= 0 && control >= 0 && attached < 0 && attempt < 100; ++attempt) {
        *device = "/dev/loop" + std::to_string(ioctl(control, LOOP_CTL_GET_FREE));
        const int loop = open(device->c_str(), O_RDWR | O_CLOEXEC);
        loop_config config = {};
        config.fd = static_cast<__u32>(image);
        config.info.lo_flags = LO_FLAGS_AUTOCLEAR;
        if (loop >= 0 && ioctl(loop, LOOP_CONFIGURE, &config) == 0) {
            attached = loop;
            break;
        }
        close(loop);
        usleep(50000);
    }
    close(control);
    close(image);
    return attached;
}

bool is_in_memory(const std::string &folder) {
    struct statfs facts = {};
    return statfs(folder.c_str(), &facts) == 0 &&
           (facts.f_type == TMPFS_MAGIC || facts.f_type == RAMFS_MAGIC);
}

private_mounts::~private_mounts() {
    for (auto target = m_targets.rbegin(); target != m_targets.rend(); ++target) {
        if (umount2(target->c_str(), UMOUNT_NOFOLLOW) != 0 &&
            umount2(target->c_str(), UMOUNT_NOFOLLOW | MNT_DETACH) != 0)
            ADD_FAILURE() << *target << ": cannot be unmounted: " << std::strerror(errno);
    }
    for (const int loop : m_loops)
        close(loop);
}

bool private_mounts::mount_at(const std::string &source, const std::string &target,
                              const char *type, unsigned long flags, const std::string &options) {
    if (mount(source.c_str(), target.c_str(), type, flags, options.c_str()) != 0) {
        ADD_FAILURE() << target << ": cannot be mounted: " << std::strerror(errno);
        return false;
    }
    if ((flags & MS_REMOUNT) == 0)
        m_targets.push_back(target);
    return true;
}

bool private_mounts::mount_tmpfs(const std::string &target, const std::string &options) {
    return mount_at("tmpfs", target, "tmpfs", 0, options);
}

bool private_mounts::mount_bind(const std::string &source, const std::string &target) {
    return mount_at(source, target, nullptr, MS_BIND, "");
}

std::string private_mounts::attach_loop(const std::string &file) {
    std::string device;
    const int loop = test_support::attach_loop(file, &device);
    if (loop < 0)
        return {};
    m_loops.push_back(loop);
    return device;
}

}  // namespace test_support
