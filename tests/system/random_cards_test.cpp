// SPDX-License-Identifier: GPL-3.0-or-later
// Random cards, each judged twice: by the program and by a checker that shares no code with it.
//
// TROVIK_SEED=N in the environment begins with card N, to repeat it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>

#include "judged_card.h"
#include "support/volumes.h"

using namespace system_tests;

static std::uint64_t first_seed(std::uint64_t otherwise) {
    const char *text = std::getenv("TROVIK_SEED");
    return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

static verdict_counts judge_cards(std::uint64_t first, std::uint64_t count) {
    verdict_counts verdicts;
    for (std::uint64_t seed = first; seed < first + count; ++seed)
        judge_card(seed, &verdicts);
    for (const auto &[verdict, number] : verdicts)
        std::cout << verdict << ": " << number << "\n";
    return verdicts;
}

#ifdef TROVIK_LONG_TESTS

namespace {

constexpr std::uint64_t cards_per_part = 25;

class a_thousand_random_cards : public testing::TestWithParam<int> {};

}  // namespace

TEST_P(a_thousand_random_cards, match_checker) {
    SKIP_IF_MISSING(missing_for_random_cards());
    const auto part = static_cast<std::uint64_t>(GetParam());
    const verdict_counts verdicts =
        judge_cards(first_seed(1000 + part * cards_per_part), cards_per_part);
    // Chance has found its way everywhere, or little would be proven.
    for (const char *verdict : {"data_lost", "incomplete"})
        EXPECT_TRUE(verdicts.contains(verdict)) << verdict;
}

INSTANTIATE_TEST_SUITE_P(part, a_thousand_random_cards, testing::Range(0, 40));

#else

TEST(random_cards, match_checker) {
    SKIP_IF_MISSING(missing_for_random_cards());
    EXPECT_FALSE(judge_cards(first_seed(1), 10).empty());
}

#endif
