// SPDX-License-Identifier: GPL-3.0-or-later
// An independent judge of test files that shares no code with the engine: the pattern comes from
// the C library's srand48/lrand48, the files through plain read(2), past the page cache.
#ifndef TROVIK_TESTS_SYSTEM_SECTOR_ORACLE_H
#define TROVIK_TESTS_SYSTEM_SECTOR_ORACLE_H

#include <cstdint>
#include <string>
#include <vector>

namespace system_tests {

constexpr std::uint64_t oracle_sector_bytes = 512;
constexpr std::uint64_t oracle_file_bytes = std::uint64_t{1} << 30;

enum class sector_kind : std::uint8_t { ok, corrupted, changed, overwritten };

struct sector_tally {
    std::uint64_t ok = 0, corrupted = 0, changed = 0, overwritten = 0;
    bool operator==(const sector_tally &) const = default;
    sector_tally &operator+=(const sector_tally &other);
};

// Printed by a failed comparison.
void PrintTo(const sector_tally &tally, std::ostream *out);

// The 512 bytes that belong at this position of all test files laid end to end.
std::vector<unsigned char> oracle_sector(std::uint64_t position);

// The class of the sector that was written for this position.
sector_kind oracle_judge(const unsigned char *sector, std::uint64_t position);

// The whole sectors of the test file with this number, as the medium holds them now.
// An unreadable file fails the test.
std::vector<sector_kind> oracle_judge_file(const std::string &path, int number);

sector_tally oracle_tally(const std::vector<sector_kind> &kinds);

// Drops the file's pages, so that the next read asks the medium.
void forget_cached(int fd);

// The file's bytes by plain reads; with `from_medium` past the page cache.
std::string read_bytes(const std::string &path, bool from_medium);

}  // namespace system_tests

#endif
