// Files that stay in memory although they were released, on real file systems. What keeps them
// there is this program's own mapping, as another program's would.
#include "volume/resident_pages.h"

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
#include "volume/medium_doubt.h"
#include "volume/page_residency.h"

using test_support::locked_pages;
using volume_tests::private_folder;
using volume_tests::private_mounts;

namespace {

constexpr std::size_t file_bytes = std::size_t{3} << 20;

// An ext4 of this test's own, whatever the folder for temporary files lies on.
class resident_pages : public testing::Test {
 protected:
    void SetUp() override {
        SKIP_WITHOUT_MOUNTS(m_mounts);
        if (!volume_tests::has_program("mkfs.ext4"))
            GTEST_SKIP() << "the program mkfs.ext4 is not installed";
        const std::string image = m_mounts.folder().make_file("image", "");
        std::filesystem::resize_file(image, std::uintmax_t{16} << 20);
        ASSERT_EQ(volume_tests::run_program({"mkfs.ext4", "-q", "-F", image}), 0);
        const std::string node = m_mounts.attach_loop(image);
        if (node.empty())
            GTEST_SKIP() << "no loop device can be had here";
        m_folder = m_mounts.folder().make_folder("volume");
        ASSERT_TRUE(m_mounts.mount_at(node, m_folder, "ext4", 0, ""));
        m_volume.file_system = "ext4";
        make_file("1.fff");
    }

    std::string file(const std::string &name) const { return m_folder + "/" + name; }
    void make_file(const std::string &name) const {
        ASSERT_TRUE(std::ofstream(file(name)) << std::string(file_bytes, 'x'));
    }
    // Whether nothing stays; the reason is in `reason`.
    bool drop(const std::vector<std::string> &names) {
        reason.clear();
        return resident_pages_drop(m_volume, m_folder, names, reason);
    }

    private_mounts m_mounts;
    std::string m_folder;
    volume_info m_volume;
    std::string reason;
};

std::uint64_t bytes_in_memory(const std::string &path) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    int error = 0;
    const auto bytes = page_residency_bytes(fd, 0, std::filesystem::file_size(path), error);
    close(fd);
    EXPECT_TRUE(bytes) << error;
    return bytes.value_or(0);
}

// This process may have no more of a resource as long as this lives.
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

// What the next file to be opened has.
int next_descriptor() {
    const int next = open("/", O_PATH | O_CLOEXEC);
    close(next);
    return next;
}

}  // namespace

TEST_F(resident_pages, a_file_just_written_is_written_out_and_gone_from_memory_afterwards) {
    EXPECT_EQ(bytes_in_memory(file("1.fff")), file_bytes);
    EXPECT_TRUE(drop({"1.fff"})) << reason;
    EXPECT_EQ(bytes_in_memory(file("1.fff")), 0U);
    EXPECT_EQ(std::filesystem::file_size(file("1.fff")), file_bytes);
}

TEST_F(resident_pages, a_page_that_stays_is_named_and_is_no_reason_once_it_can_go) {
    make_file("2.fff");
    {
        const locked_pages locked(file("2.fff"));
        EXPECT_FALSE(drop({"1.fff", "2.fff"}));
        EXPECT_EQ(reason.rfind("2.fff cannot be released from it, ", 0), 0U) << reason;
        EXPECT_GT(bytes_in_memory(file("2.fff")), 0U);
        EXPECT_LT(bytes_in_memory(file("2.fff")), file_bytes) << "the others are gone";
        m_volume.file_system = "fuseblk";
        m_volume.source = "/dev/no-such-device";
        EXPECT_EQ(medium_doubt(m_volume, m_folder, {"2.fff"}),
                  reason + ", and the device /dev/no-such-device cannot be reached");
    }
    EXPECT_TRUE(drop({"1.fff", "2.fff"})) << reason;
}

TEST_F(resident_pages, are_counted_beyond_what_is_asked_at_once) {
    std::filesystem::resize_file(file("1.fff"), std::uintmax_t{200} << 20);
    EXPECT_TRUE(drop({"1.fff"})) << reason;
    const int fd = open(file("1.fff").c_str(), O_RDWR | O_CLOEXEC);
    const std::string page(4096, 'x');
    for (const off_t offset : {off_t{100} << 20, off_t{199} << 20})
        EXPECT_EQ(pwrite(fd, page.data(), page.size(), offset), 4096);
    int error = 0;
    const auto resident = page_residency_bytes(fd, 0, std::uint64_t{200} << 20, error);
    EXPECT_EQ(resident, 2 * 4096);
    EXPECT_EQ(page_residency_bytes(fd, std::uint64_t{150} << 20, std::uint64_t{50} << 20, error),
              4096);
    close(fd);
}

TEST_F(resident_pages, that_cannot_be_asked_for_are_a_reason) {
    const int fd = open(file("1.fff").c_str(), O_WRONLY | O_CLOEXEC);
    int error = 0;
    EXPECT_EQ(page_residency_bytes(fd, 0, file_bytes, error), std::nullopt);
    EXPECT_EQ(error, EACCES);
    close(fd);
}

TEST_F(resident_pages, that_no_memory_is_left_to_ask_for_are_a_reason) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a sanitizer needs memory of its own";
#endif
    bool dropped = true;
    {
        const lowered_limit no_more_memory(RLIMIT_AS, 1);
        dropped = drop({"1.fff"});
    }
    EXPECT_FALSE(dropped);
    EXPECT_EQ(reason,
              "1.fff cannot be released from it, what is there cannot be known: Cannot allocate "
              "memory");
    EXPECT_TRUE(drop({"1.fff"})) << reason;
}

// Who reads the file a moment later may have one.
TEST_F(resident_pages, that_no_descriptor_is_left_to_ask_for_are_a_reason) {
    const auto in_use = static_cast<rlim_t>(next_descriptor());
    for (const rlim_t left : {0U, 1U}) {
        reason.clear();
        bool dropped = true;
        {
            const lowered_limit limit(RLIMIT_NOFILE, in_use + left);
            dropped = resident_pages_drop(m_volume, m_folder, {"1.fff"}, reason);
        }
        EXPECT_FALSE(dropped);
        EXPECT_EQ(reason, std::string("whether ") + (left == 0 ? "any test file" : "1.fff") +
                              " is still in memory cannot be known");
    }
    EXPECT_TRUE(drop({"1.fff"})) << reason;
}

TEST_F(resident_pages, on_a_read_only_mount_are_known_to_root) {
    const locked_pages locked(file("1.fff"));
    EXPECT_FALSE(drop({"1.fff"}));
    ASSERT_EQ(mount(nullptr, m_folder.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    EXPECT_FALSE(drop({"1.fff"}));
    EXPECT_NE(reason.find(" bytes of it stay there"), std::string::npos) << reason;
    // Another user's file, too.
    ASSERT_EQ(mount(nullptr, m_folder.c_str(), nullptr, MS_REMOUNT, nullptr), 0);
    ASSERT_EQ(chown(file("1.fff").c_str(), 65534, 65534), 0);
    ASSERT_EQ(mount(nullptr, m_folder.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    EXPECT_FALSE(drop({"1.fff"}));
}

TEST_F(resident_pages, of_files_that_could_not_be_listed_are_a_reason) {
    EXPECT_EQ(medium_doubt(m_volume, m_folder, {"1.fff"}), "");
    EXPECT_EQ(medium_doubt(m_volume, m_folder, {"1.fff"}, "'x' cannot be read: why"),
              "'x' cannot be read: why");
    m_volume.file_system = "fuseblk";
    m_volume.source = "/dev/no-such-device";
    EXPECT_EQ(medium_doubt(m_volume, m_folder, {"1.fff"}, "'x' cannot be read: why"),
              "'x' cannot be read: why, and the device /dev/no-such-device cannot be reached");
}

TEST_F(resident_pages, of_a_volume_in_memory_are_its_medium) {
    const locked_pages locked(file("1.fff"));
    for (const char *type : {"tmpfs", "ramfs"}) {
        m_volume.file_system = type;
        EXPECT_TRUE(drop({"1.fff"})) << reason;
    }
}

TEST_F(resident_pages, of_what_is_no_test_file_are_not_asked_for) {
    make_file("precious");
    const locked_pages locked(file("precious"));
    std::filesystem::create_symlink("precious", file("2.fff"));
    ASSERT_EQ(mkfifo(file("3.fff").c_str(), 0600), 0);
    std::filesystem::create_directory(file("4.fff"));
    ASSERT_TRUE(std::ofstream(file("5.fff")));
    EXPECT_TRUE(drop({"2.fff", "3.fff", "4.fff", "5.fff", "missing.fff"})) << reason;
    EXPECT_EQ(bytes_in_memory(file("precious")), file_bytes) << "the link was followed";
    EXPECT_TRUE(resident_pages_drop(m_volume, file("nowhere"), {"1.fff"}, reason));
}

// The system answers "all of them" whatever is there: neither yes nor no can be had from it.
TEST_F(resident_pages, of_another_users_file_cannot_be_known_and_are_a_reason) {
    if (geteuid() != 0)
        GTEST_SKIP() << "this process has nobody else's file";
    ASSERT_EQ(chmod(file("1.fff").c_str(), 0644), 0);
    make_file("2.fff");
    ASSERT_EQ(chown(file("2.fff").c_str(), 65534, 65534), 0);
    std::filesystem::path above = m_folder;
    for (; above != "/tmp" && above != "/"; above = above.parent_path())
        std::filesystem::permissions(above, std::filesystem::perms::all);
    ASSERT_EQ(seteuid(65534), 0);
    const bool dropped = drop({"1.fff"});
    const std::string why = reason;
    const bool own_dropped = drop({"2.fff"});
    const std::string own_why = reason;
    m_volume.file_system = "tmpfs";
    const bool memory_dropped = drop({"1.fff"});
    ASSERT_EQ(seteuid(0), 0);
    EXPECT_FALSE(dropped);
    EXPECT_EQ(why, "whether 1.fff is still in memory cannot be known");
    EXPECT_TRUE(own_dropped) << own_why;
    EXPECT_TRUE(memory_dropped) << "memory is its medium";
    m_volume.file_system = "ext4";
    EXPECT_TRUE(drop({"1.fff"})) << "its owner knows: " << reason;
}
