// SPDX-License-Identifier: GPL-3.0-or-later
// Entries of a tree before and after a run: which of them a run may touch, and the proof that
// nothing happened to the others.
#ifndef TROVIK_TESTS_SYSTEM_ENTRIES_H
#define TROVIK_TESTS_SYSTEM_ENTRIES_H

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>

namespace system_tests {

// Digits and the suffix: a run may remove it, or refuse to begin because of it.
inline bool looks_like_test_file(const std::string &name) {
    const size_t digits = std::min(name.find_first_not_of("0123456789"), name.size());
    return digits > 0 && name.substr(digits) == ".fff";
}

// Whether it is one: such a name without zeros in front, in the root itself.
inline bool is_test_file(const std::filesystem::path &path, const std::string &root) {
    return path.parent_path() == root && looks_like_test_file(path.filename()) &&
           path.filename().string()[0] != '0';
}

// Fails the test for each entry that is missing, new or changed. `facts` describes an entry.
template <typename facts>
void expect_same_entries(const std::map<std::string, facts> &before,
                         const std::map<std::string, facts> &now) {
    for (const auto &[path, known] : before) {
        const auto found = now.find(path);
        if (found == now.end()) {
            ADD_FAILURE() << path << " is gone";
        } else {
            EXPECT_TRUE(found->second == known) << path << " has changed";
        }
    }
    for (const auto &[path, seen] : now)
        EXPECT_TRUE(before.contains(path)) << path << " is new";
}

}  // namespace system_tests

#endif
