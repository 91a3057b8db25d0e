// SPDX-License-Identifier: GPL-3.0-or-later
#include "volumes.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>

namespace test_support {

static std::string error_of(const std::string &path) {
    return path + ": " + std::strerror(errno);
}

std::string missing_for_cards() {
    const int fuse = open("/dev/fuse", O_RDWR | O_CLOEXEC);
    if (fuse < 0)
        return error_of("no FUSE: /dev/fuse");
    close(fuse);
    if (!missing_for_mounts().empty() && find_program("fusermount3").empty())
        return "neither the right to mount nor the program fusermount3";
    return {};
}

std::string missing_for_images(const std::vector<std::string> &programs) {
    for (const std::string &program : programs) {
        if (find_program(program).empty())
            return "the program " + program + " is not installed";
    }
    if (std::string missing = missing_for_mounts(); !missing.empty())
        return missing;
    const int control = open("/dev/loop-control", O_RDWR | O_CLOEXEC);
    if (control < 0)
        return error_of("no loop device: /dev/loop-control");
    close(control);
    return {};
}

volume::volume(const std::string &name) : m_path(m_folder.path() + "/" + name) {
    std::filesystem::create_directory(m_path);
    // For tests that look at the volume as an ordinary user.
    chmod(m_folder.path().c_str(), 0755);
}

volume::~volume() {
    unmount();
}

void volume::check_mounted(bool mounted, const std::string &how) {
    m_mounted = mounted;
    m_reason = mounted ? "" : how;
    EXPECT_TRUE(mounted) << how;
}

void volume::mount_here(const std::string &source, const char *type, unsigned long flags,
                        const std::string &options) {
    m_reason = missing_for_mounts();
    if (!m_reason.empty())
        return;
    const int result = mount(source.c_str(), m_path.c_str(), type, flags, options.c_str());
    check_mounted(result == 0, error_of("mount " + options + " on " + m_path));
}

void volume::unmount() {
    if (!m_mounted)
        return;
    m_mounted = false;
    const bool as_root = missing_for_mounts().empty();
    for (int attempt = 0; attempt < 600; ++attempt) {
        const bool done = as_root ? umount2(m_path.c_str(), 0) == 0
                                  : run_program({"fusermount3", "-u", m_path}).exit_status == 0;
        if (done)
            return;
        usleep(100000);
    }
    ADD_FAILURE() << error_of(m_path + " is still in use");
    if (as_root)
        umount2(m_path.c_str(), MNT_DETACH);
    else
        run_program({"fusermount3", "-uz", m_path});
}

std::vector<int> volume::test_files() const {
    std::vector<int> numbers;
    for (const auto &entry : std::filesystem::directory_iterator(m_path)) {
        const std::string name = entry.path().filename();
        const size_t digits = name.find_first_not_of("0123456789");
        if (digits > 0 && digits < 10 && name[0] != '0' && name.substr(digits) == ".fff")
            numbers.push_back(std::stoi(name));
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

tmpfs_volume::tmpfs_volume(const std::string &options, const std::string &name) : volume(name) {
    mount_here("trovik-test", "tmpfs", MS_NOSUID | MS_NODEV, options);
}

bool tmpfs_volume::set_read_only(bool read_only) {
    const unsigned long flags = MS_NOSUID | MS_NODEV | (read_only ? MS_RDONLY : 0);
    return mount("none", c_path(), nullptr, MS_REMOUNT | flags, nullptr) == 0;
}

bind_volume::bind_volume(const std::string &source) {
    mount_here(source, nullptr, MS_BIND, "");
}

image_volume::image_volume(std::uint64_t bytes, std::vector<std::string> make,
                           std::vector<std::string> mount_words, const char *type) {
    make_and_mount(bytes, std::move(make), std::move(mount_words), type);
}

void image_volume::make_and_mount(std::uint64_t bytes, std::vector<std::string> make,
                                  std::vector<std::string> mount_words, const char *type) {
    const std::string image = private_path() + "/image";
    close(open(image.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    std::filesystem::resize_file(image, bytes);
    std::string device;
    m_loop = attach_loop(image, &device);
    ASSERT_GE(m_loop, 0) << error_of("loop device");
    m_device_name = device.substr(device.rfind('/') + 1);
    make.push_back(device);
    const process_result made = run_program(make);
    ASSERT_EQ(made.exit_status, 0) << made.out << made.err;
    if (mount_words.empty()) {
        mount_here(device, type, 0, "");
        return;
    }
    mount_words.push_back(device);
    mount_words.push_back(path());
    const process_result mounted = run_program(mount_words);
    check_mounted(mounted.exit_status == 0, mounted.out + mounted.err);
}

image_volume::~image_volume() {
    unmount();
    close(m_loop);
}

card::card(std::vector<std::string> options, const std::string &name) : volume(name) {
    options.insert(options.begin(), {TROVIK_CARDSIM_PROGRAM, path(), "--foreground"});
    m_server = std::make_unique<child_process>(options);
    bool mounted = false;
    for (int attempt = 0; attempt < 2000 && !mounted && m_server->is_running(); ++attempt) {
        mounted = is_mount_root(path());
        if (!mounted)
            usleep(10000);
    }
    check_mounted(mounted, mounted ? "" : "trovik-cardsim: " + m_server->wait().err);
}

card::~card() {
    unmount();
    const process_result ended = m_server->wait();
    if (!m_died) {
        EXPECT_EQ(ended.exit_status, 0) << "trovik-cardsim: " << ended.err;
    }
}

void card::die() {
    if (!m_died.exchange(true))
        m_server->send_signal(SIGKILL);
}

}  // namespace test_support
