// SPDX-License-Identifier: GPL-3.0-or-later
#include "random_tree.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <vector>

#include "entries.h"
#include "sector_oracle.h"

namespace system_tests {

static entry_facts look_at(const std::string &path) {
    struct stat status = {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path << ": " << std::strerror(errno);
    entry_facts facts;
    facts.mode = status.st_mode;
    facts.user = status.st_uid;
    facts.group = status.st_gid;
    facts.modified_ns = std::int64_t{status.st_mtim.tv_sec} * 1000000000 + status.st_mtim.tv_nsec;
    if (S_ISREG(status.st_mode)) {
        facts.names = status.st_nlink;
        facts.contents = read_bytes(path, true);
    } else if (S_ISLNK(status.st_mode)) {
        facts.contents = std::filesystem::read_symlink(path);
    }
    return facts;
}

tree_facts look_at_tree(const std::string &root, bool with_test_files) {
    tree_facts found;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(root)) {
        if (with_test_files || !is_test_file(entry.path(), root))
            found[entry.path()] = look_at(entry.path());
    }
    return found;
}

void expect_same_tree(const tree_facts &before, const tree_facts &now) {
    expect_same_entries(before, now);
}

namespace {

class tree_maker {
 public:
    tree_maker(std::string root, chance &by) : m_root(std::move(root)), m_by(by) {}

    void make() {
        m_folders = {m_root};
        for (std::uint64_t entries = m_by.between(20, 60); entries > 0; --entries)
            make_entry();
    }

 private:
    // One or two small changes away from a test file's name.
    std::string near_miss() {
        std::string name = std::to_string(m_by.between(1, 12)) + ".fff";
        for (std::uint64_t changes = m_by.between(1, 2); changes > 0; --changes) {
            const size_t at = m_by.between(0, name.size() - 1);
            switch (m_by.between(0, 3)) {
                case 0:
                    name.erase(at, 1);
                    break;
                case 1:
                    name.insert(at + m_by.between(0, 1), 1, odd_byte());
                    break;
                case 2:
                    name[at] = odd_byte();
                    break;
                default:
                    name[at] = static_cast<char>(std::toupper(name[at]));
            }
            if (name.empty())
                name = "f";
        }
        return name;
    }

    char odd_byte() {
        return m_by.one_of(std::array<char, 16>{'\n', ' ', '.', 'f', 'F', '~', '\t', '-', '+', '*',
                                                '\\', '\x1b', '\xff', 'x', '_', '%'});
    }

    // Below the root everything is the user's, whatever its name.
    std::string new_path() {
        const std::string &folder = m_folders[m_by.between(0, m_folders.size() - 1)];
        for (;;) {
            std::string name;
            const std::uint64_t kind = m_by.between(1, 100);
            if (kind <= 60)
                name = near_miss();
            else if (kind <= 70)
                name = m_by.one_of(std::array<std::string, 10>{
                    "1.FFF", "01.ffff", "1.fff.old", "x1.fff", ".1.fff", "1fff", "0.fff", "1.fff\n",
                    "\n1.fff", "1.fff.1.fff"});
            else if (kind <= 80)
                name = std::string(m_by.between(200, 251), 'n') + ".fff";
            else if (kind <= 90)
                name = std::to_string(m_by.between(0, 12)) + ".fff";
            else
                name = "IMG_" + std::to_string(m_by.between(1, 9999)) + ".JPG";
            const bool kept = folder != m_root || !looks_like_test_file(name) || name == "0.fff";
            std::string path = folder;
            path.append("/").append(name);
            struct stat status = {};
            if (kept && name != "." && name != ".." && path.size() < 1000 &&
                lstat(path.c_str(), &status) != 0)
                return path;
        }
    }

    void make_entry() {
        const std::string path = new_path();
        const std::uint64_t kind = m_by.between(1, 100);
        if (kind <= 55)
            make_file(path, m_by.percent(80) ? m_by.between(0, 9000) : m_by.between(0, 100000));
        else if (kind <= 65)
            make_sparse_file(path);
        else if (kind <= 75)
            make_folder(path);
        else if (kind <= 85)
            std::filesystem::create_symlink(link_target(), path);
        else if (kind <= 93 && !m_files.empty())
            make_second_name(path);
        else
            EXPECT_EQ(mkfifo(path.c_str(), 0640), 0) << path << ": " << std::strerror(errno);
    }

    std::string link_target() {
        const std::string some_file = m_files.empty() ? m_root : m_files.back();
        return m_by.one_of(std::array<std::string, 7>{"1.fff", "2.fff", "nowhere", "..",
                                                      "/dev/null", m_root + "/1.fff", some_file});
    }

    // A few deep, and into each other.
    void make_folder(std::string path) {
        std::filesystem::create_directory(path);
        m_folders.push_back(path);
        while (path.size() < 800 && m_by.percent(50)) {
            path.append("/").append(m_by.percent(50) ? "1.fff" : "folder");
            std::filesystem::create_directory(path);
            m_folders.push_back(path);
        }
    }

    int create(const std::string &path) {
        const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        EXPECT_GE(fd, 0) << path << ": " << std::strerror(errno);
        fchmod(fd, m_by.one_of(std::array<mode_t, 4>{0644, 0600, 0400, 0755}));
        m_files.push_back(path);
        return fd;
    }

    void write_bytes(int fd, std::uint64_t count) {
        std::string bytes(count, '\0');
        for (char &byte : bytes)
            byte = static_cast<char>(m_by.between(0, 255));
        EXPECT_EQ(write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()))
            << std::strerror(errno);
    }

    void make_file(const std::string &path, std::uint64_t bytes) {
        const int fd = create(path);
        write_bytes(fd, bytes);
        close(fd);
    }

    void make_sparse_file(const std::string &path) {
        const int fd = create(path);
        write_bytes(fd, m_by.between(0, 600));
        EXPECT_EQ(ftruncate(fd, static_cast<off_t>(m_by.between(1000, 3000000))), 0);
        if (m_by.percent(50)) {
            lseek(fd, 0, SEEK_END);
            write_bytes(fd, m_by.between(1, 600));
        }
        close(fd);
    }

    // Where there are none (the simulated card), a plain file.
    void make_second_name(const std::string &path) {
        const std::string &first = m_files[m_by.between(0, m_files.size() - 1)];
        if (link(first.c_str(), path.c_str()) != 0)
            make_file(path, 100);
    }

    std::string m_root;
    chance &m_by;
    std::vector<std::string> m_folders;
    std::vector<std::string> m_files;
};

}  // namespace

void make_random_tree(const std::string &root, chance &by) {
    tree_maker(root, by).make();
}

std::string make_impostor(const std::string &root, chance &by) {
    std::string name = std::to_string(by.between(1, 2000)) + ".fff";
    std::string path = root;
    path.append("/").append(name);
    switch (by.between(0, 3)) {
        case 0:
            std::filesystem::create_directory(path);
            EXPECT_EQ(close(open((path + "/1.fff").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600)),
                      0);
            break;
        case 1:
            std::filesystem::create_symlink(
                by.one_of(std::array<std::string, 4>{"nowhere", "1.FFF", "/dev/null", "."}), path);
            break;
        case 2:
            EXPECT_EQ(mkfifo(path.c_str(), 0600), 0) << std::strerror(errno);
            break;
        default: {
            const std::string other = root + "/0" + name;
            EXPECT_EQ(close(open(other.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600)), 0);
            return "0" + name;
        }
    }
    return name;
}

}  // namespace system_tests
