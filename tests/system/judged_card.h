// A card put together by chance, tested by the program and judged a second time by
// a checker that shares nothing with it.
#ifndef TROVIK_TESTS_SYSTEM_JUDGED_CARD_H
#define TROVIK_TESTS_SYSTEM_JUDGED_CARD_H

#include <cstdint>
#include <map>
#include <string>

namespace system_tests {

// What the independent checker called the runs, and how often.
using verdict_counts = std::map<std::string, int>;

// Mounts the card, runs the program on it and has everything that it reported judged
// by the checker; a disagreement fails the test, with the commands that show it again.
void judge_card(std::uint64_t seed, verdict_counts *verdicts);

// What is missing for that, or the empty text.
std::string missing_for_random_cards();

}  // namespace system_tests

#endif
