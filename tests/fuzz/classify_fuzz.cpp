// SPDX-License-Identifier: GPL-3.0-or-later
// The classification of a sector, with every implementation that this processor can run. A case is
// a sector of any bytes, or the expected offset, the sector's own offset and changes to its words.
#include <cstring>
#include <vector>

#include "fuzz.h"
#include "model/f3read.h"
#include "model/sector_lanes.h"
#include "test_file_model.h"

// The definition: counts the words that differ from the pattern of the sector's own offset, up to
// the first one beyond the tolerance.
static sector_class slow_class(const sector_words &sector, uint64_t expected_offset) {
    rng_state state;
    rng_seed(sector[0], &state);
    int mismatches = 0;
    for (size_t i = 1; i < sector.size() && mismatches <= 2; ++i) {
        uint64_t value = 0;
        rng_next(&state, &value);
        if (value != sector[i])
            ++mismatches;
    }
    if (mismatches > 2)
        return SECTOR_CORRUPTED;
    if (sector[0] != expected_offset)
        return SECTOR_OVERWRITTEN;
    return mismatches == 0 ? SECTOR_OK : SECTOR_CHANGED;
}

static void change(sector_words &sector, fuzz_input &input) {
    while (!input.empty()) {
        const size_t word = input.byte() % sector.size();
        const int bytes = input.byte() % 8 + 1;
        sector[word] ^= input.number(bytes) << (8 * (input.byte() % 8));
    }
}

static void check(const sector_words &sector, uint64_t expected_offset, size_t misplaced) {
    // No byte behind the sector: reading beyond its end is an error of the address sanitizer.
    std::vector<char> buffer(SECTOR_SIZE + misplaced);
    std::memcpy(buffer.data() + misplaced, sector.data(), SECTOR_SIZE);
    const char *const bytes = buffer.data() + misplaced;
    FUZZ_REQUIRE(f3read_classify_sector(bytes, expected_offset) ==
                 slow_class(sector, expected_offset));
    if (sector[0] % SECTOR_SIZE != 0)
        return;
    const bool intact = slow_class(sector, sector[0]) == SECTOR_OK;
    for (size_t i = 0; sector_lanes_usable(i) != nullptr; ++i)
        FUZZ_REQUIRE((sector_lanes_usable(i)->intact(bytes, 1, sector[0]) != 0) == intact);
}

// The same sector in a row of intact ones, which the engine checks in groups.
static void check_in_row(const sector_words &sector, uint64_t expected_offset, size_t place) {
    constexpr size_t length = 18;
    const bool intact = slow_class(sector, expected_offset) == SECTOR_OK;
    const uint64_t first = expected_offset - place * SECTOR_SIZE;
    std::vector<sector_words> row;
    for (size_t i = 0; i < length; ++i)
        row.push_back(i == place ? sector : sector_model(first + i * SECTOR_SIZE));
    const char *const bytes = reinterpret_cast<const char *>(row.data());
    for (size_t i = 0; first % SECTOR_SIZE == 0 && sector_lanes_usable(i) != nullptr; ++i)
        FUZZ_REQUIRE(sector_lanes_usable(i)->intact(bytes, length, first) ==
                     (intact ? length : place));
    std::vector<sector_class> classes(length);
    f3read_classify_sectors(bytes, length, first, classes.data());
    for (size_t i = 0; i < length; ++i)
        FUZZ_REQUIRE(classes[i] == (i == place ? slow_class(sector, expected_offset) : SECTOR_OK));
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz_input input(data, size);
    const uint8_t form = input.byte();
    const uint64_t expected_offset = input.number();
    const uint64_t distance = input.number();
    sector_words sector{};
    if ((form & 1) != 0) {
        for (uint64_t &word : sector)
            word = input.number();
    } else {
        sector = sector_model(expected_offset + distance);
        change(sector, input);
    }
    check(sector, expected_offset, form >> 4);
    check_in_row(sector, expected_offset, form >> 4);
    return 0;
}
