// SPDX-License-Identifier: GPL-3.0-or-later
#include "runner/test_files.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "support/folder.h"

using test_support::private_folder;
using test_support::set_file_content;

namespace {

test_file_scan scanned(const std::string &folder, int start_index = 0) {
    test_file_scan scan;
    std::string error;
    EXPECT_TRUE(test_files_scan(folder, start_index, scan, error)) << error;
    EXPECT_EQ(error, "");
    return scan;
}

void make_socket(const std::string &path) {
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    EXPECT_EQ(bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    close(fd);
}

using numbers = std::vector<int>;
using names = std::vector<std::string>;

}  // namespace

TEST(test_files, finds_none_in_empty_folder) {
    const private_folder folder;
    const test_file_scan scan = scanned(folder.path());
    EXPECT_EQ(scan.numbers, numbers{});
    EXPECT_EQ(scan.foreign, names{});
    EXPECT_EQ(scan.bytes, 0U);
}

TEST(test_files, sorts_by_number_and_adds_up_sizes) {
    const private_folder folder;
    set_file_content(folder.file("10.fff"), "four");
    set_file_content(folder.file("2.fff"), "sixsix");
    set_file_content(folder.file("2147483647.fff"), "");
    const test_file_scan scan = scanned(folder.path());
    EXPECT_EQ(scan.numbers, (numbers{2, 10, 2147483647}));
    EXPECT_EQ(scan.bytes, 10U);
}

TEST(test_files, ignores_other_names) {
    const private_folder folder;
    for (const char *name : {"1.FFF", "2.fff.old", "notes.fff", "-1.fff", ".fff", "3.ff", "4fff",
                             "\xc3\xa4.fff", " 5.fff"})
        set_file_content(folder.file(name), "x");
    std::filesystem::create_directory(folder.file("6.fff.d"));
    const test_file_scan scan = scanned(folder.path());
    EXPECT_EQ(scan.numbers, numbers{});
    EXPECT_EQ(scan.foreign, names{});
}

TEST(test_files, names_every_foreign_kind) {
    const private_folder folder;
    std::filesystem::create_directory(folder.file("1.fff"));
    std::filesystem::create_symlink("/etc/passwd", folder.file("2.fff"));
    std::filesystem::create_symlink("nowhere", folder.file("3.fff"));
    ASSERT_EQ(mkfifo(folder.file("4.fff").c_str(), 0600), 0);
    make_socket(folder.file("5.fff"));
    const test_file_scan scan = scanned(folder.path());
    EXPECT_EQ(scan.numbers, numbers{});
    EXPECT_EQ(scan.foreign, (names{"'1.fff' (a folder)", "'2.fff' (a link)", "'3.fff' (a link)",
                                   "'4.fff' (a FIFO)", "'5.fff' (a socket)"}));
}

TEST(test_files, names_device_as_foreign) {
    const private_folder folder;
    if (mknod(folder.file("1.fff").c_str(), S_IFCHR | 0600, makedev(1, 3)) != 0)
        GTEST_SKIP() << "this process may not make devices";
    EXPECT_EQ(scanned(folder.path()).foreign, names{"'1.fff' (a device)"});
}

TEST(test_files, calls_second_name_of_a_number_foreign) {
    const private_folder folder;
    for (const char *name : {"01.fff", "4294967297.fff", "1.fff"})
        set_file_content(folder.file(name), "x");
    const test_file_scan scan = scanned(folder.path());
    EXPECT_EQ(scan.numbers, numbers{1});
    EXPECT_EQ(scan.foreign, (names{"'01.fff' (another name for 1.fff)",
                                   "'4294967297.fff' (another name for 1.fff)"}));
    EXPECT_EQ(scan.bytes, 1U);
}

TEST(test_files, ignores_numbers_that_engine_does_not_list) {
    const private_folder folder;
    for (const char *name : {"0.fff", "2147483648.fff", "4294967296.fff"})
        set_file_content(folder.file(name), "x");
    const test_file_scan scan = scanned(folder.path());
    EXPECT_EQ(scan.numbers, numbers{});
    EXPECT_EQ(scan.foreign, names{});
}

TEST(test_files, ignores_entries_below_start) {
    const private_folder folder;
    std::filesystem::create_directory(folder.file("1.fff"));
    set_file_content(folder.file("02.fff"), "x");
    set_file_content(folder.file("2.fff"), "x");
    set_file_content(folder.file("3.fff"), "x");
    const test_file_scan scan = scanned(folder.path(), 2);
    EXPECT_EQ(scan.numbers, numbers{3});
    EXPECT_EQ(scan.foreign, names{});
    EXPECT_EQ(scan.bytes, 1U);
}

TEST(test_files, reports_unreadable_folder_with_name_and_reason) {
    const private_folder folder;
    test_file_scan scan;
    scan.numbers = {1};
    std::string error;
    EXPECT_FALSE(test_files_scan(folder.file("not\nhere"), 0, scan, error));
    EXPECT_EQ(error,
              "'" + folder.path() + "/not\\x0Ahere' cannot be read: " + std::strerror(ENOENT));
    EXPECT_EQ(scan.numbers, numbers{});
}

TEST(test_files, joins_consecutive_numbers) {
    EXPECT_EQ(test_files_text({}), "");
    EXPECT_EQ(test_files_text({7}), "7.fff");
    EXPECT_EQ(test_files_text({1, 2}), "1.fff to 2.fff");
    EXPECT_EQ(test_files_text({1, 2, 3, 7, 9, 10}), "1.fff to 3.fff, 7.fff, 9.fff to 10.fff");
    EXPECT_EQ(test_files_text({2147483646, 2147483647}), "2147483646.fff to 2147483647.fff");
}

TEST(test_files, counts_ranges_beyond_five) {
    EXPECT_EQ(test_files_text({1, 3, 5, 7, 9}), "1.fff, 3.fff, 5.fff, 7.fff, 9.fff");
    EXPECT_EQ(test_files_text({1, 3, 5, 7, 9, 11, 12, 14}),
              "1.fff, 3.fff, 5.fff, 7.fff, 9.fff and 3 more");
}

TEST(test_files, lists_names_that_engine_reads) {
    const private_folder folder;
    set_file_content(folder.file("10.fff"), "");
    set_file_content(folder.file("2.fff"), "");
    set_file_content(folder.file("02.fff"), "");
    ASSERT_EQ(symlink("2.fff", folder.file("3.fff").c_str()), 0);
    names found;
    std::string error;
    EXPECT_TRUE(test_files_names(folder.path(), 0, found, error));
    EXPECT_EQ(found, (names{"2.fff", "10.fff"}));
    EXPECT_TRUE(test_files_names(folder.path(), 2, found, error));
    EXPECT_EQ(found, (names{"10.fff"}));
    EXPECT_EQ(error, "");
    EXPECT_FALSE(test_files_names(folder.file("missing"), 0, found, error));
    EXPECT_EQ(found, names{});
    EXPECT_EQ(error, "'" + folder.file("missing") + "' cannot be read: No such file or directory");
}

TEST(test_files, names_files_of_folder_from_start_on) {
    const private_folder folder;
    for (const char *name : {"1.fff", "2.fff", "3.fff", "5.fff", "notes.fff"})
        set_file_content(folder.file(name), "x");
    EXPECT_EQ(test_files_text_of(folder.path(), 0), "1.fff to 3.fff, 5.fff");
    EXPECT_EQ(test_files_text_of(folder.path(), 3), "5.fff");
    EXPECT_EQ(test_files_text_of(folder.path(), 5), "");
}

TEST(test_files, knows_no_files_of_unreadable_folder) {
    const private_folder folder;
    EXPECT_EQ(test_files_text_of(folder.file("gone"), 0), std::nullopt);
}
