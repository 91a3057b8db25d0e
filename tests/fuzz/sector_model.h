// The definition of a sector, computed word by word.
#ifndef TROVIK_TESTS_FUZZ_SECTOR_MODEL_H
#define TROVIK_TESTS_FUZZ_SECTOR_MODEL_H

#include <array>
#include <cstdint>

#include "model/test_sector.h"

using sector_words = std::array<uint64_t, SECTOR_WORDS>;

inline sector_words sector_model(uint64_t offset) {
    sector_words words{offset};
    rng_state state;
    rng_seed(offset, &state);
    for (size_t i = 1; i < words.size(); ++i)
        rng_next(&state, &words[i]);
    return words;
}

#endif
