// SPDX-License-Identifier: GPL-3.0-or-later
// A random card, tested by the program and judged again by a checker that shares no code with it.
#ifndef TROVIK_TESTS_SYSTEM_JUDGED_CARD_H
#define TROVIK_TESTS_SYSTEM_JUDGED_CARD_H

#include <cstdint>
#include <map>
#include <string>

namespace system_tests {

// The checker's verdicts, and how often each came.
using verdict_counts = std::map<std::string, int>;

// Mounts the card, runs the program on it and lets the checker judge its whole report. A
// disagreement fails the test, with the commands that reproduce it.
void judge_card(std::uint64_t seed, verdict_counts *verdicts);

// The reason why this is impossible here, or the empty text.
std::string missing_for_random_cards();

}  // namespace system_tests

#endif
