// SPDX-License-Identifier: GPL-3.0-or-later
/* The sector format: fixed vectors, and random sectors compared with the C library's
 * srand48/lrand48. */
#include "model/test_sector.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include "model/f3read.h"
#include "model/fatal.h"
#include "support.h"

using model_tests::expect_assertion;
using model_tests::random_seed;
using model_tests::reference_sectors;
using model_tests::run_in_child;
using model_tests::word_at;

namespace {

constexpr size_t sector_bytes = SECTOR_SIZE;

std::string filled(uint64_t offset, size_t size) {
    std::string bytes(size, '\xA5');
    EXPECT_EQ(fill_buffer(bytes.data(), size, offset), offset + size);
    return bytes;
}

uint64_t body_word(uint64_t offset, size_t word) {
    return word_at(filled(offset, SECTOR_SIZE), word * sizeof(uint64_t));
}

}  // namespace

TEST(test_sector, sector_is_512_bytes_of_64_words) {
    EXPECT_EQ(SECTOR_SIZE, 512);
    EXPECT_EQ(SECTOR_WORDS, 64);
}

TEST(test_sector, first_sector_has_given_bytes_and_words) {
    const std::array<unsigned char, 24> first = {0,    0,    0,    0,    0, 0, 0, 0,
                                                 0x6E, 0xB1, 0xDD, 0x15, 0, 0, 0, 0,
                                                 0xC0, 0xC9, 0xFC, 0x5F, 0, 0, 0, 0};
    const std::string sector = filled(0, SECTOR_SIZE);
    EXPECT_EQ(memcmp(sector.data(), first.data(), first.size()), 0);
    EXPECT_EQ(body_word(0, 1), 0x15DDB16EU);
    EXPECT_EQ(body_word(0, 2), 0x5FFCC9C0U);
    EXPECT_EQ(body_word(0, 3), 0x0C55E80AU);
    EXPECT_EQ(body_word(0, 63), 0x11B3A5FAU);
}

TEST(test_sector, sector_at_512_has_given_words) {
    EXPECT_EQ(body_word(512, 0), 512U);
    EXPECT_EQ(body_word(512, 1), 0x02C41E6EU);
    EXPECT_EQ(body_word(512, 2), 0x400732C0U);
    EXPECT_EQ(body_word(512, 3), 0x171A9D0AU);
    EXPECT_EQ(body_word(512, 63), 0x07340AFAU);
}

TEST(test_sector, first_sector_of_second_file_has_given_words) {
    EXPECT_EQ(body_word(0x40000000, 0), 0x40000000U);
    EXPECT_EQ(body_word(0x40000000, 1), 0x35DDB16EU);
    EXPECT_EQ(body_word(0x40000000, 2), 0x7FFCC9C0U);
    EXPECT_EQ(body_word(0x40000000, 3), 0x2C55E80AU);
    EXPECT_EQ(body_word(0x40000000, 63), 0x31B3A5FAU);
}

TEST(test_sector, fifth_file_repeats_bodies_of_first_with_own_offsets) {
    const std::string first = filled(0, SECTOR_SIZE);
    const std::string fifth = filled(0x100000000, SECTOR_SIZE);
    EXPECT_EQ(fifth.substr(8), first.substr(8));
    EXPECT_EQ(fifth.substr(0, 8), std::string("\0\0\0\0\1\0\0\0", 8));
}

TEST(test_sector, offsets_grow_by_512_across_buffer) {
    const std::string bytes = filled(0x3FFFFE00, 3 * sector_bytes);
    EXPECT_EQ(word_at(bytes, 0), 0x3FFFFE00U);
    EXPECT_EQ(word_at(bytes, 512), 0x40000000U);
    EXPECT_EQ(word_at(bytes, 1024), 0x40000200U);
    EXPECT_EQ(bytes, reference_sectors(0x3FFFFE00, 3 * sector_bytes));
}

TEST(test_sector, fills_same_bytes_in_one_piece_and_in_many) {
    const std::string whole = filled(1U << 20U, 64 * sector_bytes);
    for (size_t sector = 0; sector < 64; ++sector)
        EXPECT_EQ(filled((1U << 20U) + sector * sector_bytes, SECTOR_SIZE),
                  whole.substr(sector * sector_bytes, SECTOR_SIZE));
}

TEST(test_sector, writes_nothing_behind_buffer) {
    std::string bytes(3 * sector_bytes, '\xA5');
    fill_buffer(bytes.data() + 1, 2 * sector_bytes, 4096);
    EXPECT_EQ(bytes[0], '\xA5');
    EXPECT_EQ(bytes.substr(1, 2 * sector_bytes), reference_sectors(4096, 2 * sector_bytes));
    EXPECT_EQ(bytes.substr(1 + 2 * sector_bytes), std::string(SECTOR_SIZE - 1, '\xA5'));
}

TEST(test_sector, ten_thousand_random_sectors_match_c_library) {
    const uint32_t seed = random_seed();
    SCOPED_TRACE("TROVIK_TEST_SEED=" + std::to_string(seed));
    std::mt19937_64 random(seed);
    for (int sector = 0; sector < 10000; ++sector) {
        uint64_t offset = random();
        /* One in four anywhere in 64 bits, the rest in the range of real volumes. */
        if (sector % 4 != 0)
            offset = (offset % (UINT64_C(1) << 42U)) / SECTOR_SIZE * SECTOR_SIZE;
        const std::string expected = reference_sectors(offset, SECTOR_SIZE);
        ASSERT_EQ(filled(offset, SECTOR_SIZE), expected) << "offset " << offset;
        ASSERT_EQ(f3read_classify_sector(expected.data(), offset), SECTOR_OK) << offset;
        ASSERT_EQ(f3read_classify_sector(expected.data(), offset ^ 512U), SECTOR_OVERWRITTEN)
            << offset;
        rng_state state = {};
        EXPECT_EQ(rng_seed(offset, &state), 0);
        for (size_t at = 8; at < SECTOR_SIZE; at += 8) {
            uint64_t word = ~UINT64_C(0);
            EXPECT_EQ(rng_next(&state, &word), 0);
            ASSERT_EQ(word, word_at(expected, at)) << "offset " << offset << " byte " << at;
        }
    }
}

TEST(test_sector, seeding_sets_state_multiplier_and_addend) {
    rng_state state = {};
    memset(&state, 0x77, sizeof state);
    EXPECT_EQ(rng_seed(0xDEADBEEF12345678, &state), 0);
    EXPECT_EQ(state.x[0], 0x330E);
    EXPECT_EQ(state.x[1], 0x5678);
    EXPECT_EQ(state.x[2], 0x1234);
    EXPECT_EQ(state.a, 0x5DEECE66DU);
    EXPECT_EQ(state.c, 0xB);
    EXPECT_EQ(state.init, 1);
    for (const uint16_t old : state.old_x)
        EXPECT_EQ(old, 0x7777);
}

TEST(test_sector, step_leaves_new_state_and_31_bit_word) {
    rng_state state = {};
    rng_seed(0, &state);
    uint64_t word = ~UINT64_C(0);
    rng_next(&state, &word);
    constexpr uint64_t next = (UINT64_C(0x5DEECE66D) * 0x330E + 0xB) & 0xFFFFFFFFFFFF;
    EXPECT_EQ(state.x[0], next & 0xFFFF);
    EXPECT_EQ(state.x[1], (next >> 16U) & 0xFFFF);
    EXPECT_EQ(state.x[2], next >> 32U);
    EXPECT_EQ(word, next >> 17U);
}

TEST(test_sector, first_step_sets_constants_of_uninitialised_state) {
    rng_state state = {};
    state.x[0] = 0x330E;
    state.a = 99;
    state.c = 99;
    uint64_t word = 0;
    EXPECT_EQ(rng_next(&state, &word), 0);
    EXPECT_EQ(word, 0x15DDB16EU);
    EXPECT_EQ(state.a, 0x5DEECE66DU);
    EXPECT_EQ(state.c, 0xB);
    EXPECT_EQ(state.init, 1);
}

TEST(test_sector, initialised_state_keeps_multiplier_and_addend) {
    rng_state state = {};
    state.x[0] = 1;
    state.a = UINT64_C(1) << 40U;
    state.c = 0;
    state.init = 1;
    uint64_t word = 0;
    rng_next(&state, &word);
    EXPECT_EQ(word, UINT64_C(1) << 23U);
}

TEST(test_sector, states_are_independent_of_each_other_and_of_c_library) {
    srand48(5);
    const long first = lrand48();
    const long second = lrand48();
    srand48(5);
    EXPECT_EQ(lrand48(), first);
    rng_state one = {};
    rng_state two = {};
    rng_seed(512, &one);
    rng_seed(0, &two);
    uint64_t word = 0;
    rng_next(&one, &word);
    EXPECT_EQ(word, 0x02C41E6EU);
    rng_next(&two, &word);
    EXPECT_EQ(word, 0x15DDB16EU);
    rng_next(&one, &word);
    EXPECT_EQ(word, 0x400732C0U);
    EXPECT_EQ(lrand48(), second);
}

TEST(test_sector, refuses_empty_buffer) {
    char byte = 0;
    expect_assertion(run_in_child([&] { fill_buffer(&byte, 0, 0); }), "size > 0", "fill_buffer",
                     "model/test_sector");
}

TEST(test_sector, refuses_partial_sectors) {
    std::string bytes(2 * sector_bytes, '\0');
    for (const size_t size : {1U, 511U, 513U, 1023U})
        expect_assertion(run_in_child([&] { fill_buffer(bytes.data(), size, 0); }),
                         "size % SECTOR_SIZE == 0", "fill_buffer", "model/test_sector");
}

/* The buffer at the process's end. */
static const std::string *watched_buffer = nullptr;

static void tell_whether_untouched(const char * /*message*/, int /*status*/) {
    const bool untouched = *watched_buffer == std::string(watched_buffer->size(), '\xA5');
    std::fputs(untouched ? "untouched" : "written to", stdout);
    std::fflush(stdout);
}

TEST(test_sector, refuses_size_before_writing) {
    for (const size_t size : {513U, 1023U}) {
        const auto outcome = run_in_child([&] {
            std::string bytes(2 * sector_bytes, '\xA5');
            watched_buffer = &bytes;
            engine_set_fatal_handler(tell_whether_untouched);
            fill_buffer(bytes.data(), size, 0);
        });
        EXPECT_EQ(outcome.out, "untouched") << size;
        EXPECT_TRUE(outcome.aborted());
    }
}
