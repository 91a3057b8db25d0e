// SPDX-License-Identifier: GPL-3.0-or-later
#include "user_files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "entries.h"
#include "sector_oracle.h"
#include "support/volumes.h"

namespace system_tests {

static std::vector<std::string> plain_names() {
    return {"0.fff",
            "notes.fff",
            "-1.fff",
            "+3.fff",
            "2.fff.old",
            "1.ffff",
            "1.ff",
            "1fff",
            ".fff",
            "a1.fff",
            "1a.fff",
            "1..fff",
            "1.fff~",
            ".1.fff",
            "0x1.fff",
            "1,fff",
            "1.fff.fff",
            "1-2.fff",
            "1 .fff",
            " 1.fff",
            "١.fff",
            "１.fff",
            "1.ｆｆｆ",
            "Übung 1.fff",
            "写真.fff",
            "🎞.fff",
            "e\u0301te.fff",
            "$(id).fff",
            "1.fff'",
            "%s%n.fff",
            "1e3.fff",
            "fff",
            "1",
            "1.fff (copy)",
            "Thumbs.db",
            "folder/1.fff",
            "folder/2.fff",
            "folder/x/3.fff",
            "7/1.fff",
            ".Trash/4.fff",
            "lost/0.fff",
            "folder.fff/1.fff"};
}

static std::vector<std::string> odd_names(const name_limits &limits) {
    std::vector<std::string> names;
    if (!limits.ignores_case)
        names.insert(names.end(), {"1.FFF", "1.Fff", "2.ffF"});
    if (!limits.windows_names)
        names.insert(names.end(), {"1.fff\n", "\n1.fff", "1.fff ", "1.fff.", "1:2.fff", "*.fff",
                                   "\"1.fff\"", "1\\.fff", "1\t.fff", "?.fff"});
    if (!limits.utf8_only)
        names.insert(names.end(), {"\xff\xfe.fff", "1.ff\xe6", "\xc0\xb1.fff"});
    return names;
}

static std::vector<user_file> tree_of(const name_limits &limits, bool large) {
    std::vector<std::string> names = plain_names();
    for (std::string &name : odd_names(limits))
        names.push_back(std::move(name));
    for (size_t i = names.size(); i < user_file_count; ++i)
        names.push_back("pictures/" + std::to_string(i % 7) + "/IMG_" + std::to_string(i) + ".JPG");
    // Lengths on both sides of sectors and pages, a few of them long.
    constexpr std::array<std::uint64_t, 8> lengths = {0, 1, 511, 512, 513, 4096, 4097, 12345};
    std::vector<user_file> files;
    for (size_t i = 0; i < names.size(); ++i)
        files.push_back({names[i], lengths[i % lengths.size()]});
    if (large) {
        files[1].bytes = 10240 * kib;
        files[40].bytes = 4096 * kib + 77;
        for (size_t i = 60; i < 104; ++i)
            files[i].bytes = 100 * kib + i;
    }
    // A test's blocks of two sectors are to fill the rest of a card to its end.
    if (user_tree_sectors(files) % 2 != 0)
        files.back().bytes += oracle_sector_bytes;
    return files;
}

std::vector<user_file> user_tree(const name_limits &limits) {
    return tree_of(limits, true);
}

std::vector<user_file> small_user_tree() {
    return tree_of({}, false);
}

std::uint64_t user_tree_sectors(const std::vector<user_file> &files) {
    std::uint64_t sectors = 0;
    for (const user_file &file : files)
        sectors += (file.bytes + oracle_sector_bytes - 1) / oracle_sector_bytes;
    return sectors;
}

// 64 bits of FNV-1a over eight bytes at a time: it only needs to tell contents apart.
static std::uint64_t hash_of(std::string_view bytes, std::uint64_t hash = 0xcbf29ce484222325U) {
    constexpr std::uint64_t prime = 0x100000001b3U;
    for (; !bytes.empty(); bytes.remove_prefix(std::min<size_t>(8, bytes.size()))) {
        std::uint64_t word = 0;
        std::memcpy(&word, bytes.data(), std::min<size_t>(8, bytes.size()));
        hash = (hash ^ word) * prime;
        hash ^= hash >> 29;
    }
    return hash;
}

static std::string content_of(const user_file &file) {
    std::string bytes(file.bytes, '\0');
    std::uint64_t state = hash_of(file.name);
    for (size_t i = 0; i < bytes.size(); ++i) {
        state = state * 6364136223846793005U + 1442695040888963407U;
        bytes[i] = static_cast<char>(state >> 56);
    }
    return bytes;
}

static void write_file(const std::string &path, const std::string &bytes) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    ASSERT_GE(fd, 0) << path << ": " << std::strerror(errno);
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t written = write(fd, bytes.data() + done, bytes.size() - done);
        ASSERT_GT(written, 0) << path << ": " << std::strerror(errno);
        done += static_cast<size_t>(written);
    }
    close(fd);
}

user_files::user_files(const std::string &root, const std::vector<user_file> &files)
    : m_root(root) {
    EXPECT_EQ(files.size(), user_file_count);
    for (const user_file &file : files) {
        const std::filesystem::path path = root + "/" + file.name;
        std::filesystem::create_directories(path.parent_path());
        write_file(path, content_of(file));
    }
    m_before = look();
    // The volume must hold the intended content now, or the later look proves nothing.
    for (const user_file &file : files) {
        const std::string path = root + "/" + file.name;
        EXPECT_EQ(m_before[path].bytes, file.bytes) << path;
        EXPECT_EQ(m_before[path].hash, hash_of(content_of(file))) << path;
    }
}

std::map<std::string, user_files::facts> user_files::look() const {
    std::map<std::string, facts> found;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(m_root)) {
        // Entries of the file systems themselves are neither opened nor compared.
        if (is_test_file(entry.path(), m_root) || entry.path().filename() == "lost+found")
            continue;
        struct stat status = {};
        EXPECT_EQ(lstat(entry.path().c_str(), &status), 0) << entry.path();
        facts seen;
        seen.folder = S_ISDIR(status.st_mode);
        if (!seen.folder) {
            const std::string bytes = read_bytes(entry.path(), true);
            seen.bytes = bytes.size();
            seen.hash = hash_of(bytes);
            seen.modified_ns =
                std::int64_t{status.st_mtim.tv_sec} * 1000000000 + status.st_mtim.tv_nsec;
        }
        found[entry.path()] = seen;
    }
    return found;
}

void user_files::expect_untouched() const {
    expect_same_entries(m_before, look());
}

}  // namespace system_tests
