// The same comparison over more sectors than a card of 32 GB has.
#include <gtest/gtest.h>

#include "generator_comparison.h"

TEST(sector_lanes_long, a_hundred_million_random_sectors_are_those_of_the_generator) {
    model_tests::compare_all_forms_with_generator(100000000, 48);
}
