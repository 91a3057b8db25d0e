// SPDX-License-Identifier: GPL-3.0-or-later
// Random user files: names that nearly match a test file's, deep folders, symlinks, hard links,
// sparse files, FIFOs. Comparing two looks proves that a run touched none of them. The same seed
// makes the same tree.
#ifndef TROVIK_TESTS_SYSTEM_RANDOM_TREE_H
#define TROVIK_TESTS_SYSTEM_RANDOM_TREE_H

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <string>

#include "chance.h"

namespace system_tests {

// An entry by lstat(2) and by the medium, without the times that reading changes.
struct entry_facts {
    mode_t mode = 0;  // kind and rights
    uid_t user = 0;
    gid_t group = 0;
    std::int64_t modified_ns = 0;
    nlink_t names = 0;     // of a file
    std::string contents;  // of a file, or where a link points
    bool operator==(const entry_facts &) const = default;
};

using tree_facts = std::map<std::string, entry_facts>;

// All entries below the root; its test files only if asked for.
tree_facts look_at_tree(const std::string &root, bool with_test_files);

// Fails the test for each entry that is missing, new or changed.
void expect_same_tree(const tree_facts &before, const tree_facts &now);

// Makes 20 to 60 entries of at most about 1 MiB in all, none of which a run could
// take for a test file. Entries that the file system cannot hold are left out.
void make_random_tree(const std::string &root, chance &by);

// Makes an entry with a test file's name that cannot be one, and returns the name.
std::string make_impostor(const std::string &root, chance &by);

}  // namespace system_tests

#endif
