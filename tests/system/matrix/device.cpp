// SPDX-License-Identifier: GPL-3.0-or-later
#include "device.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <linux/loop.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace system_tests {

constexpr size_t page_bytes = 4096;

std::vector<file_system> file_systems() {
    // Where a card keeps nothing past its first 20 MiB, what a mount asks for must lie before
    // that: ext4's journal and its tables, and all that xfs keeps of an allocation group.
    return {
        {"ext4",
         {"mkfs.ext4", "-q", "-F", "-m", "0", "-E", "packed_meta_blocks=1", "-N", "64"},
         {},
         "ext4",
         false,
         true},
        {"exfat", {"mkfs.exfat"}, {"mount.exfat-fuse", "-d"}, "", false, false},
        {"ntfs", {"mkfs.ntfs", "-F", "-Q", "-q"}, {"ntfs-3g", "-o", "no_detach"}, "", false, false},
        {"btrfs", {"mkfs.btrfs", "-q", "-f", "--mixed"}, {}, "btrfs", true, false},
        // Smaller than mkfs allows for use, but enough here.
        {"xfs",
         {"mkfs.xfs", "-q", "-f", "--unsupported", "-d", "agcount=1"},
         {},
         "xfs",
         false,
         false},
    };
}

std::string missing_for(const file_system &kind) {
    if (std::string missing = missing_for_cards(); !missing.empty())
        return missing;
    std::vector<std::string> programs = {kind.make[0]};
    if (!kind.mount.empty())
        programs.push_back(kind.mount[0]);
    return missing_for_images(programs);
}

formatted_image::formatted_image(const file_system &kind, const deadline &until)
    : m_path(m_folder.path() + "/formatted") {
    close(open(m_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    std::filesystem::resize_file(m_path, device_bytes);
    std::vector<std::string> make = kind.make;
    make[0] = find_program(make[0]);
    make.push_back(m_path);
    const process_result made = run_program(make, until.options());
    EXPECT_EQ(made.exit_status, 0) << made.out << made.err;
    find_data(kind, until);
}

void formatted_image::find_data(const file_system &kind, const deadline &until) {
    const std::string trial = m_folder.path() + "/trial";
    EXPECT_EQ(run_program({"cp", "--sparse=always", m_path, trial}, until.options()).exit_status,
              0);
    {
        const loop_device device(trial);
        const mounted_file_system where(kind, device);
        ASSERT_TRUE(where.is_mounted()) << where.refusal();
        run_cli({"write", where.path(), "--block-size=1M"}, until.options());
    }
    for (const auto &[position, sector] : find_test_data(trial))
        m_data.push_back(sector);
    ASSERT_GT(m_data.size(), device_bytes / oracle_sector_bytes / 2) << "little was written";
}

std::map<std::uint64_t, std::uint64_t> find_test_data(const std::string &image) {
    std::map<std::uint64_t, std::uint64_t> found;
    const std::string bytes = read_bytes(image, false);
    for (std::uint64_t at = 0; at + oracle_sector_bytes <= bytes.size();
         at += oracle_sector_bytes) {
        const auto *sector = reinterpret_cast<const unsigned char *>(bytes.data() + at);
        std::uint64_t position = 0;
        std::memcpy(&position, sector, sizeof position);
        if (oracle_judge(sector, position) == sector_kind::ok)
            found[position] = at / oracle_sector_bytes;
    }
    return found;
}

loop_device::loop_device(const std::string &file) : m_fd(attach_loop(file, &m_path)) {
    EXPECT_GE(m_fd, 0) << "loop device: " << std::strerror(errno);
}

loop_device::~loop_device() {
    ioctl(m_fd, LOOP_CLR_FD);
    close(m_fd);
}

void loop_device::forget() const {
    EXPECT_EQ(ioctl(m_fd, BLKFLSBUF), 0) << m_path << ": " << std::strerror(errno);
}

void settle(const volume &where, const loop_device &device) {
    const int fd = open(where.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    syncfs(fd);  // a failed write shows in the data read later
    close(fd);
    device.forget();
}

// ext4 keeps some of its blocks from everybody, root included; on a small volume these
// are more than one percent. Where the kernel allows it, they are freed.
static void give_up_own_reserve(const loop_device &device) {
    std::ofstream("/sys/fs/ext4/" + device.path().substr(device.path().rfind('/') + 1) +
                  "/reserved_clusters")
        << 0;
}

mounted_file_system::mounted_file_system(const file_system &kind, const loop_device &device) {
    if (!kind.mount.empty())
        mount_by_program(kind, device);
    else
        mount_by_system(kind, device);
    if (!is_mounted())
        return;
    check_mounted(true, "");
    if (kind.type == std::string("ext4"))
        give_up_own_reserve(device);
}

// ext4 flushes during mount and would refuse a card that cannot: the option tells it not to
// until the run begins.
void mounted_file_system::mount_by_system(const file_system &kind, const loop_device &device) {
    const bool late_flushes = kind.type == std::string("ext4");
    const char *const options = late_flushes ? "barrier=0" : nullptr;
    if (mount(device.path().c_str(), path().c_str(), kind.type, MS_NOATIME, options) != 0) {
        m_refusal = std::strerror(errno);
        return;
    }
    if (late_flushes) {
        EXPECT_EQ(mount("none", path().c_str(), nullptr, MS_REMOUNT | MS_NOATIME, "barrier=1"), 0)
            << std::strerror(errno);
    }
}

// A server in the background would outlive a test that dies, and keep its mount.
void mounted_file_system::mount_by_program(const file_system &kind, const loop_device &device) {
    std::vector<std::string> words = {"sh", "-c", "exec \"$0\" \"$@\" >/dev/null 2>&1"};
    words.insert(words.end(), kind.mount.begin(), kind.mount.end());
    words.insert(words.end(), {device.path(), path()});
    words[3] = find_program(words[3]);
    process_options options;
    options.timeout = std::chrono::seconds{20};  // counted from the wait for its end
    m_server = std::make_unique<child_process>(words, options);
    while (m_server->is_running() && !is_mount_root(path()))
        usleep(10000);
    if (!is_mount_root(path()))
        m_refusal = "status " + std::to_string(m_server->wait().exit_status);
}

mounted_file_system::~mounted_file_system() {
    unmount();
    if (m_server) {
        EXPECT_FALSE(m_server->wait().timed_out) << "the file system's server did not end";
    }
}

// Without reading ahead, so that a bad page fails alone; of that page single sectors, with direct
// I/O. Returns whether the file could be opened.
static bool judge_file(const std::string &path, int number, std::vector<sector_kind> &kinds) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    forget_cached(fd);
    posix_fadvise(fd, 0, 0, POSIX_FADV_RANDOM);
    std::uint64_t position = static_cast<std::uint64_t>(number - 1) * oracle_file_bytes;
    alignas(page_bytes) std::array<unsigned char, page_bytes> page{};
    const auto judge_up_to_error = [&](size_t bytes_at_once) {
        ssize_t got = 0;
        while ((got = read(fd, page.data(), bytes_at_once)) > 0) {
            const auto sectors = static_cast<std::uint64_t>(got) / oracle_sector_bytes;
            for (std::uint64_t i = 0; i < sectors; ++i, position += oracle_sector_bytes)
                kinds.push_back(oracle_judge(page.data() + i * oracle_sector_bytes, position));
        }
    };
    judge_up_to_error(page_bytes);
    if (fcntl(fd, F_SETFL, O_DIRECT) == 0)
        judge_up_to_error(oracle_sector_bytes);
    close(fd);
    return true;
}

std::optional<std::vector<int>> listed_files(const volume &where) {
    std::error_code error;
    const std::filesystem::directory_iterator probe(where.path(), error);
    if (error)
        return {};
    return where.test_files();
}

std::optional<judged_files> judge_kept_files(const volume &where, const loop_device &device) {
    const auto numbers = listed_files(where);
    if (!numbers)
        return {};
    device.forget();
    judged_files files;
    for (const int number : *numbers) {
        if (!judge_file(where.file(std::to_string(number) + ".fff"), number, files[number]))
            return {};
    }
    return files;
}

std::uint64_t lost_by_error(const file_system &kind) {
    return kind.mount.empty() ? 0 : 2 * mib / oracle_sector_bytes;
}

void expect_counts_of(const nlohmann::json &report, const std::optional<judged_files> &kept,
                      std::uint64_t lost_by_error) {
    ASSERT_TRUE(kept) << "the kept files cannot be opened any more";
    EXPECT_EQ(report.at("files").size(), kept->size());
    for (const auto &[number, kinds] : *kept) {
        const auto &file = report.at("files").at(
            static_cast<size_t>(std::distance(kept->begin(), kept->find(number))));
        ASSERT_EQ(file.at("number"), number);
        const std::uint64_t sectors =
            file.at("bytes_read").get<std::uint64_t>() / oracle_sector_bytes;
        ASSERT_LE(sectors, kinds.size()) << number << ".fff was read past what can be read";
        EXPECT_LE(kinds.size() - sectors, file.at("read_to_end") ? 0 : lost_by_error)
            << number << ".fff was not read as far as it can be read";
        const auto end = kinds.begin() + static_cast<std::ptrdiff_t>(sectors);
        EXPECT_EQ(tally_of_file(report, number), oracle_tally({kinds.begin(), end}));
    }
}

}  // namespace system_tests
