// SPDX-License-Identifier: GPL-3.0-or-later
// Chance that can be repeated: the same seed gives the same numbers everywhere.
#ifndef TROVIK_TESTS_SYSTEM_CHANCE_H
#define TROVIK_TESTS_SYSTEM_CHANCE_H

#include <array>
#include <cstdint>
#include <random>

namespace system_tests {

// The standard's distributions differ between libraries; these do not.
class chance {
 public:
    explicit chance(std::uint64_t seed) : m_engine(seed) {}
    std::uint64_t between(std::uint64_t lowest, std::uint64_t highest) {
        return lowest + m_engine() % (highest - lowest + 1);
    }
    bool percent(std::uint64_t share) { return between(1, 100) <= share; }
    template <typename T, size_t N>
    const T &one_of(const std::array<T, N> &values) {
        return values[static_cast<size_t>(between(0, N - 1))];
    }

 private:
    std::mt19937_64 m_engine;
};

}  // namespace system_tests

#endif
