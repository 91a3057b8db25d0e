// SPDX-License-Identifier: GPL-3.0-or-later
// Files whose pages stay resident, on an ext4 of each test's own. This program's locks keep them,
// as another program's would.
#include "volume/cold_read.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "../support/locked_pages.h"
#include "support.h"
#include "volume/page_cache.h"

using namespace volume_tests;
using test_support::locked_pages;

namespace {

constexpr std::size_t file_bytes = std::size_t{3} << 20;

class cold_read : public testing::Test {
 protected:
    void SetUp() override {
        SKIP_IF_MISSING(m_ext4.missing());
        m_volume.file_system = "ext4";
        make_file("1.fff");
    }

    const std::string &folder() const { return m_ext4.folder(); }
    std::string file(const std::string &name) const { return folder() + "/" + name; }
    void make_file(const std::string &name) const {
        ASSERT_TRUE(std::ofstream(file(name)) << std::string(file_bytes, 'x'));
    }
    std::string drop(const std::vector<std::string> &names) const {
        return cold_read_files(m_volume, folder(), names);
    }
    std::string prepare(const std::string &unlisted = {}) const {
        return cold_read_prepare(m_volume, folder(), {"1.fff"}, unlisted, false);
    }

    ext4_volume m_ext4;
    volume_info m_volume;
};

std::uint64_t bytes_in_memory(const std::string &path) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    int error = 0;
    const auto bytes = page_cache_resident_bytes(fd, 0, std::filesystem::file_size(path), error);
    close(fd);
    EXPECT_TRUE(bytes) << error;
    return bytes.value_or(0);
}

// Lowers a resource limit of this process while it lives.
class lowered_limit {
 public:
    lowered_limit(__rlimit_resource resource, rlim_t most) : m_resource(resource) {
        EXPECT_EQ(getrlimit(m_resource, &m_before), 0);
        const rlimit lowered = {most, m_before.rlim_max};
        EXPECT_EQ(setrlimit(m_resource, &lowered), 0);
    }
    ~lowered_limit() { setrlimit(m_resource, &m_before); }
    lowered_limit(const lowered_limit &) = delete;
    lowered_limit &operator=(const lowered_limit &) = delete;

 private:
    __rlimit_resource m_resource;
    rlimit m_before = {};
};

// The number that the next open() returns.
int next_descriptor() {
    const int next = open("/", O_PATH | O_CLOEXEC);
    close(next);
    return next;
}

}  // namespace

TEST_F(cold_read, flushes_and_drops_new_file) {
    // Another program may drop all page caches meanwhile.
    EXPECT_TRUE(within_a_minute([this] {
        make_file("1.fff");
        return bytes_in_memory(file("1.fff")) == file_bytes;
    }));
    EXPECT_EQ(drop({"1.fff"}), "");
    EXPECT_EQ(bytes_in_memory(file("1.fff")), 0U);
    EXPECT_EQ(std::filesystem::file_size(file("1.fff")), file_bytes);
}

TEST_F(cold_read, doubts_locked_page_until_unlocked) {
    make_file("2.fff");
    {
        const locked_pages locked(file("2.fff"));
        const std::string reason = drop({"1.fff", "2.fff"});
        EXPECT_EQ(reason.rfind("2.fff cannot be released from it, ", 0), 0U) << reason;
        EXPECT_GT(bytes_in_memory(file("2.fff")), 0U);
        EXPECT_LT(bytes_in_memory(file("2.fff")), file_bytes) << "the others are dropped";
        m_volume.file_system = "fuseblk";
        m_volume.source = "/dev/no-such-device";
        EXPECT_EQ(cold_read_prepare(m_volume, folder(), {"2.fff"}, "", false),
                  reason + ", and the device /dev/no-such-device cannot be reached");
    }
    EXPECT_EQ(drop({"1.fff", "2.fff"}), "");
}

TEST_F(cold_read, doubts_without_memory_to_ask) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a sanitizer needs memory of its own";
#endif
    std::string reason;
    {
        const lowered_limit no_more_memory(RLIMIT_AS, 1);
        reason = drop({"1.fff"});
    }
    EXPECT_EQ(reason,
              "1.fff cannot be released from it, what is there cannot be known: Cannot allocate "
              "memory");
    EXPECT_EQ(drop({"1.fff"}), "");
}

// The read phase may get one a moment later.
TEST_F(cold_read, doubts_without_descriptor_to_open) {
    const auto in_use = static_cast<rlim_t>(next_descriptor());
    for (const rlim_t left : {0U, 1U}) {
        std::string reason;
        {
            const lowered_limit limit(RLIMIT_NOFILE, in_use + left);
            reason = drop({"1.fff"});
        }
        EXPECT_EQ(reason, std::string("whether ") + (left == 0 ? "any test file" : "1.fff") +
                              " is still in memory cannot be known");
    }
    EXPECT_EQ(drop({"1.fff"}), "");
}

TEST_F(cold_read, tells_root_on_read_only_mount) {
    const locked_pages locked(file("1.fff"));
    const auto is_known_to_stay = [this] {
        return drop({"1.fff"}).find(" bytes of it stay there") != std::string::npos;
    };
    EXPECT_TRUE(is_known_to_stay());
    ASSERT_EQ(mount(nullptr, folder().c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    EXPECT_TRUE(is_known_to_stay());
    // Another user's file, too.
    ASSERT_EQ(mount(nullptr, folder().c_str(), nullptr, MS_REMOUNT, nullptr), 0);
    ASSERT_EQ(chown(file("1.fff").c_str(), 65534, 65534), 0);
    ASSERT_EQ(mount(nullptr, folder().c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    EXPECT_TRUE(is_known_to_stay());
}

TEST_F(cold_read, doubts_unlisted_files) {
    EXPECT_EQ(prepare(), "");
    EXPECT_EQ(prepare("'x' cannot be read: why"), "'x' cannot be read: why");
    m_volume.file_system = "fuseblk";
    m_volume.source = "/dev/no-such-device";
    EXPECT_EQ(prepare("'x' cannot be read: why"),
              "'x' cannot be read: why, and the device /dev/no-such-device cannot be reached");
}

TEST_F(cold_read, accepts_volume_in_memory) {
    const locked_pages locked(file("1.fff"));
    for (const char *type : {"tmpfs", "ramfs"}) {
        m_volume.file_system = type;
        EXPECT_EQ(drop({"1.fff"}), "");
    }
}

TEST_F(cold_read, skips_entries_that_are_not_regular_files) {
    make_file("precious");
    const locked_pages locked(file("precious"));
    std::filesystem::create_symlink("precious", file("2.fff"));
    ASSERT_EQ(mkfifo(file("3.fff").c_str(), 0600), 0);
    std::filesystem::create_directory(file("4.fff"));
    ASSERT_TRUE(std::ofstream(file("5.fff")));
    EXPECT_EQ(drop({"2.fff", "3.fff", "4.fff", "5.fff", "missing.fff"}), "");
    EXPECT_EQ(bytes_in_memory(file("precious")), file_bytes) << "the link was followed";
    EXPECT_EQ(cold_read_files(m_volume, file("nowhere"), {"1.fff"}), "");
}

// To another user, mincore() reports every page as resident.
TEST_F(cold_read, doubts_another_users_file) {
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to give a file away";
    ASSERT_EQ(chmod(file("1.fff").c_str(), 0644), 0);
    make_file("2.fff");
    ASSERT_EQ(chown(file("2.fff").c_str(), 65534, 65534), 0);
    std::filesystem::path above = folder();
    for (; above != "/tmp" && above != "/"; above = above.parent_path())
        std::filesystem::permissions(above, std::filesystem::perms::all);
    ASSERT_EQ(seteuid(65534), 0);
    const std::string roots = drop({"1.fff"});
    const std::string own = drop({"2.fff"});
    m_volume.file_system = "tmpfs";
    const std::string in_memory = drop({"1.fff"});
    ASSERT_EQ(seteuid(0), 0);
    EXPECT_EQ(roots, "whether 1.fff is still in memory cannot be known");
    EXPECT_EQ(own, "");
    EXPECT_EQ(in_memory, "") << "memory is its medium";
    m_volume.file_system = "ext4";
    EXPECT_EQ(drop({"1.fff"}), "") << "the owner knows";
}
