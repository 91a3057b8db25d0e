// SPDX-License-Identifier: GPL-3.0-or-later
/* Bytes for tests: patterns that differ at every position and from seed to seed. */
#ifndef TROVIK_TESTS_CARDSIM_TEST_BYTES_H
#define TROVIK_TESTS_CARDSIM_TEST_BYTES_H

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

constexpr size_t MIB = 1 << 20;

inline std::vector<std::byte> test_bytes(size_t count, uint32_t seed) {
    std::mt19937 chance(seed);
    std::vector<std::byte> bytes(count);
    for (std::byte &byte : bytes) {
        byte = static_cast<std::byte>(chance() & 0xFF);
    }
    return bytes;
}

/* The size of so many sectors, as an iterator offset. */
constexpr std::ptrdiff_t sectors(std::ptrdiff_t count) {
    return count * 512;
}

inline std::vector<std::byte> equal_bytes(size_t count, unsigned value) {
    return {count, static_cast<std::byte>(value)};
}

#endif
