// SPDX-License-Identifier: GPL-3.0-or-later
// The comparison with the generator over more sectors than a card of 32 GB has.
#include <gtest/gtest.h>

#include "generator_comparison.h"

TEST(sector_lanes_long, hundred_million_random_sectors_match_generator) {
    model_tests::compare_all_forms_with_generator(100000000, 48);
}
