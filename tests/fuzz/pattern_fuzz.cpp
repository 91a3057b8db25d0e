// SPDX-License-Identifier: GPL-3.0-or-later
// The pattern: buffers of sectors compared with the generator step by step, and the generator
// compared with the C library's.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fuzz.h"
#include "model/sector_lanes.h"
#include "test_file_model.h"

static constexpr char guard = 0x55;
static constexpr size_t guard_bytes = 64;

// nrand48 is the C library's variant of this generator with the state in the caller's memory.
static void check_generator(uint64_t offset) {
    unsigned short state[3] = {0x330E, static_cast<unsigned short>(offset),
                               static_cast<unsigned short>(offset >> 16)};
    const sector_words sector = sector_model(offset);
    FUZZ_REQUIRE(sector[0] == offset);
    for (size_t i = 1; i < sector.size(); ++i)
        FUZZ_REQUIRE(sector[i] == static_cast<uint64_t>(nrand48(state)));
}

static void check_buffer(const std::vector<char> &buffer, size_t misplaced, size_t sectors,
                         uint64_t offset) {
    const char *at = buffer.data();
    const char *const end = at + buffer.size();
    for (; at < buffer.data() + misplaced; ++at)
        FUZZ_REQUIRE(*at == guard);
    for (; sectors > 0; --sectors, at += SECTOR_SIZE, offset += SECTOR_SIZE)
        FUZZ_REQUIRE(std::memcmp(at, sector_model(offset).data(), SECTOR_SIZE) == 0);
    for (; at < end; ++at)
        FUZZ_REQUIRE(*at == guard);
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz_input input(data, size);
    const uint64_t offset = input.number();
    const size_t sectors = input.byte() % 40 + 1U;
    const size_t misplaced = input.byte() % guard_bytes;
    check_generator(offset);
    std::vector<char> buffer(misplaced + sectors * SECTOR_SIZE + guard_bytes, guard);
    FUZZ_REQUIRE(fill_buffer(buffer.data() + misplaced, sectors * SECTOR_SIZE, offset) ==
                 offset + sectors * SECTOR_SIZE);
    check_buffer(buffer, misplaced, sectors, offset);
    if (offset % SECTOR_SIZE != 0)
        return 0;
    for (size_t i = 0; sector_lanes_usable(i) != nullptr; ++i) {
        std::fill(buffer.begin(), buffer.end(), guard);
        sector_lanes_usable(i)->fill(buffer.data() + misplaced, sectors, offset);
        check_buffer(buffer, misplaced, sectors, offset);
    }
    return 0;
}
