// SPDX-License-Identifier: GPL-3.0-or-later
// Random simulated cards and runs: any size, any fault, any mix of them. The same seed makes the
// same card and the same runs.
#ifndef TROVIK_TESTS_SYSTEM_RANDOM_CARD_H
#define TROVIK_TESTS_SYSTEM_RANDOM_CARD_H

#include <cstdint>
#include <string>
#include <vector>

namespace system_tests {

// A test file to be written first, and where it is cut to make room for the next.
struct early_file {
    int number;
    std::uint64_t kept_bytes;
};

struct random_card {
    std::vector<std::string> options;  // of trovik-cardsim
    std::uint64_t user_sectors = 0;    // taken before the first test file is written
    std::vector<early_file> early;     // each written and cut before the run
    bool in_two_commands = false;      // "write", then "read" instead of "test"
    int number = 1;                    // of the first test file written by the run
    int read_from = 1;                 // of the first that "read" asks for
    std::string block_size;            // "--block-size=...", or empty
};

random_card compose_card(std::uint64_t seed);

}  // namespace system_tests

#endif
