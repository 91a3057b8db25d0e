// SPDX-License-Identifier: GPL-3.0-or-later
// User files with names that are nearly those of test files, and the proof that a run changed none
// of them: names, kinds, lengths, times and all bytes, read from the medium and not from the page
// cache.
#ifndef TROVIK_TESTS_SYSTEM_USER_FILES_H
#define TROVIK_TESTS_SYSTEM_USER_FILES_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace system_tests {

constexpr size_t user_file_count = 200;

struct user_file {
    std::string name;  // below the volume's root
    std::uint64_t bytes;
};

// Names that a file system cannot hold, or cannot tell from another name.
struct name_limits {
    bool utf8_only = false;      // no names that are not UTF-8
    bool windows_names = false;  // no line breaks, colons, stars, ends in a blank
    bool ignores_case = false;   // 1.FFF is another name of 1.fff
};

// A tree of 200 files: one of 10 MiB, one of 4 MiB and many small ones down to
// zero bytes, 19 MiB in an even number of sectors. Names that the file system cannot hold are
// replaced by plain ones.
std::vector<user_file> user_tree(const name_limits &limits = {});
// The same names with little in them, 1 MiB in all.
std::vector<user_file> small_user_tree();

std::uint64_t user_tree_sectors(const std::vector<user_file> &files);

class user_files {
 public:
    // Writes the files; their bytes follow from their names.
    user_files(const std::string &root, const std::vector<user_file> &files);

    // Every file is as it was, and beside them and test files there is nothing.
    void expect_untouched() const;

 private:
    struct facts {
        bool folder = false;
        std::uint64_t bytes = 0;
        std::uint64_t hash = 0;
        std::int64_t modified_ns = 0;
        bool operator==(const facts &) const = default;
    };
    std::map<std::string, facts> look() const;

    std::string m_root;
    std::map<std::string, facts> m_before;
};

}  // namespace system_tests

#endif
