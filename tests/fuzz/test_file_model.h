// SPDX-License-Identifier: GPL-3.0-or-later
// The definitions of a test file's name and of its sectors, computed in another way than in the
// engine.
#ifndef TROVIK_TESTS_FUZZ_TEST_FILE_MODEL_H
#define TROVIK_TESTS_FUZZ_TEST_FILE_MODEL_H

#include <array>
#include <cstdint>
#include <string>

#include "model/test_sector.h"

// One or more digits, then ".fff".
inline bool name_model_is_test_file(const std::string &name) {
    const std::string suffix = ".fff";
    return name.size() > suffix.size() && name.ends_with(suffix) &&
           name.find_first_not_of("0123456789") == name.size() - suffix.size();
}

// The low 32 bits of the number before the suffix, added up from the last digit.
inline int32_t name_model_number(const std::string &name) {
    uint32_t number = 0;
    uint32_t weight = 1;
    for (size_t i = name.size() - 4; i > 0; --i, weight *= 10)
        number += weight * static_cast<uint32_t>(name[i - 1] - '0');
    return static_cast<int32_t>(number);
}

using sector_words = std::array<uint64_t, SECTOR_WORDS>;

// The sector at this offset, word by word.
inline sector_words sector_model(uint64_t offset) {
    sector_words words{offset};
    rng_state state;
    rng_seed(offset, &state);
    for (size_t i = 1; i < words.size(); ++i)
        rng_next(&state, &words[i]);
    return words;
}

#endif
