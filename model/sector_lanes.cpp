// SPDX-License-Identifier: GPL-3.0-or-later
/* Sectors are written in pairs and compared in groups: one addition leads from a sector to
 * the next, which is cheaper than the multiplication for a single sector. A write block of
 * 1 KiB is exactly one pair. */
#include "model/sector_lanes.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include <array>
#include <cstring>

#include "model/platform.h"
#include "model/sector_pattern.h"
#include "model/test_sector.h"

namespace {

/* The code below is compiled into functions for several processors, so it must be inlined
 * into each and not remain a function of its own. */
#define LANES_INLINE inline __attribute__((always_inline))

template <size_t bytes>
struct lane_vector {
    typedef uint32_t type __attribute__((vector_size(bytes)));
    static constexpr size_t per_sector = SECTOR_SIZE / bytes;
    static constexpr size_t lanes = bytes / sizeof(uint32_t);
};

/* By reference: the ABI for returning vectors differs between processors. */
template <typename vector_type>
LANES_INLINE void load(const void *from, vector_type &loaded) {
    std::memcpy(&loaded, from, sizeof loaded);
}

/* Loads the pattern's lanes at vector `position` of a sector, for any element type. */
template <typename vector_type>
LANES_INLINE void load_pattern(size_t position, vector_type &step, vector_type &first) {
    constexpr size_t lanes = lane_vector<sizeof(vector_type)>::lanes;
    load(&sector_pattern::lanes.step[position * lanes], step);
    load(&sector_pattern::lanes.first[position * lanes], first);
}

/* A pair's sectors begin with their offsets. */
LANES_INLINE void write_pair_offsets(char *out, uint64_t offset) {
    const uint64_t next = offset + SECTOR_SIZE;
    std::memcpy(out, &offset, sizeof offset);
    std::memcpy(out + SECTOR_SIZE, &next, sizeof next);
}

template <size_t bytes>
LANES_INLINE void write_sector_pair(char *out, uint64_t offset) {
    using vector = lane_vector<bytes>;
    const uint32_t number = sector_pattern::sector_number(offset);
    const auto mask = typename vector::type{} + sector_pattern::result_mask;
#pragma GCC unroll 32
    for (size_t i = 0; i < vector::per_sector; ++i) {
        typename vector::type step, first;
        load_pattern(i, step, first);
        const auto one = (step * number + first) & mask;
        const auto two = (one + step) & mask;
        std::memcpy(out + i * bytes, &one, bytes);
        std::memcpy(out + SECTOR_SIZE + i * bytes, &two, bytes);
    }
    write_pair_offsets(out, offset);
}

template <size_t bytes>
LANES_INLINE void write_sector(char *out, uint64_t offset) {
    using vector = lane_vector<bytes>;
    const uint32_t number = sector_pattern::sector_number(offset);
    const auto mask = typename vector::type{} + sector_pattern::result_mask;
    for (size_t i = 0; i < vector::per_sector; ++i) {
        typename vector::type step, first;
        load_pattern(i, step, first);
        const auto words = (step * number + first) & mask;
        std::memcpy(out + i * bytes, &words, bytes);
    }
    std::memcpy(out, &offset, sizeof offset);
}

template <size_t bytes>
LANES_INLINE uint64_t fill(char *out, size_t count, uint64_t offset) {
    constexpr size_t pair = 2 * static_cast<size_t>(SECTOR_SIZE);
    for (; count >= 2; count -= 2, out += pair, offset += pair)
        write_sector_pair<bytes>(out, offset);
    if (count == 0)
        return offset;
    write_sector<bytes>(out, offset);
    return offset + SECTOR_SIZE;
}

/* Zero in the lanes of the offset itself, which is not part of the body. */
alignas(64) constexpr std::array<uint32_t, 16> first_body_lanes = [] {
    std::array<uint32_t, 16> lanes{};
    for (size_t lane = 2; lane < lanes.size(); ++lane)
        lanes[lane] = ~uint32_t{0};
    return lanes;
}();

template <size_t bytes>
LANES_INLINE bool is_zero(const typename lane_vector<bytes>::type &vector) {
    std::array<uint64_t, bytes / sizeof(uint64_t)> words;
    std::memcpy(words.data(), &vector, bytes);
    uint64_t any = 0;
    for (const uint64_t word : words)
        any |= word;
    return any == 0;
}

template <size_t bytes, size_t count>
LANES_INLINE bool sectors_match(const char *sectors, uint64_t offset) {
    using vector = lane_vector<bytes>;
    const uint32_t number = sector_pattern::sector_number(offset);
    const auto mask = typename vector::type{} + sector_pattern::result_mask;
    auto difference = typename vector::type{};
#pragma GCC unroll 32
    for (size_t i = 0; i < vector::per_sector; ++i) {
        typename vector::type step, first, body;
        load_pattern(i, step, first);
        load(first_body_lanes.data(), body);
        auto words = step * number + first;
#pragma GCC unroll 8
        for (size_t sector = 0; sector < count; ++sector, words += step) {
            typename vector::type wrong;
            load(sectors + sector * SECTOR_SIZE + i * bytes, wrong);
            wrong ^= words & mask;
            difference |= i == 0 ? wrong & body : wrong;
        }
    }
    uint64_t away = 0;
    for (size_t sector = 0; sector < count; ++sector) {
        uint64_t own_offset = 0;
        std::memcpy(&own_offset, sectors + sector * SECTOR_SIZE, sizeof own_offset);
        away |= own_offset ^ (offset + sector * SECTOR_SIZE);
    }
    return away == 0 && is_zero<bytes>(difference);
}

/* The first sector is looked at alone: where one is damaged, so are mostly those
 * behind it, and a group would be compared in vain each time. */
template <size_t bytes>
LANES_INLINE size_t intact(const char *sectors, size_t count, uint64_t offset) {
    constexpr size_t group = 8;
    constexpr size_t size = SECTOR_SIZE;
    if (count == 0 || !sectors_match<bytes, 1>(sectors, offset))
        return 0;
    size_t done = 1;
    while (count - done >= group &&
           sectors_match<bytes, group>(sectors + done * size, offset + done * size))
        done += group;
    while (done < count && sectors_match<bytes, 1>(sectors + done * size, offset + done * size))
        ++done;
    return done;
}

uint64_t fill_baseline(char *out, size_t count, uint64_t offset) {
    return fill<16>(out, count, offset);
}

size_t intact_baseline(const char *sectors, size_t count, uint64_t offset) {
    return intact<16>(sectors, count, offset);
}

constexpr sector_lanes_functions baseline = {"baseline", fill_baseline, intact_baseline};

#if defined(__x86_64__)
__attribute__((target("avx2"))) uint64_t fill_avx2(char *out, size_t count, uint64_t offset) {
    return fill<32>(out, count, offset);
}

__attribute__((target("avx2"))) size_t intact_avx2(const char *sectors, size_t count,
                                                   uint64_t offset) {
    return intact<32>(sectors, count, offset);
}

constexpr sector_lanes_functions avx2 = {"AVX2", fill_avx2, intact_avx2};

#define AVX512 __attribute__((target("avx512f,avx512dq,avx512bw,avx512vl")))

AVX512 uint64_t fill_avx512(char *out, size_t count, uint64_t offset) {
    return fill<64>(out, count, offset);
}

AVX512 size_t intact_avx512(const char *sectors, size_t count, uint64_t offset) {
    return intact<64>(sectors, count, offset);
}

constexpr sector_lanes_functions avx512 = {"AVX-512", fill_avx512, intact_avx512};

/* The fused multiplication and addition of 52 bits is made for words like these: step
 * and number have 31 and 23 bits, and the low bits of a sum do not depend on those
 * above. Compilers do not find it by themselves; it writes blocks of 1 KiB more than a
 * fifth faster. */
#define AVX512_IFMA __attribute__((target("avx512f,avx512dq,avx512bw,avx512vl,avx512ifma")))

AVX512_IFMA uint64_t fill_avx512_ifma(char *out, size_t count, uint64_t offset) {
    typedef uint64_t words __attribute__((vector_size(64)));
    constexpr size_t pair = 2 * static_cast<size_t>(SECTOR_SIZE);
    const words mask = words{} + sector_pattern::result_mask;
    for (; count >= 2; count -= 2, out += pair, offset += pair) {
        const words number = words{} + sector_pattern::sector_number(offset);
#pragma GCC unroll 8
        for (size_t i = 0; i < lane_vector<sizeof(words)>::per_sector; ++i) {
            words step, first;
            load_pattern(i, step, first);
            const auto sum = reinterpret_cast<words>(_mm512_madd52lo_epu64(
                reinterpret_cast<__m512i>(first), reinterpret_cast<__m512i>(step),
                reinterpret_cast<__m512i>(number)));
            const words one = sum & mask;
            const words two = (sum + step) & mask;
            std::memcpy(out + i * sizeof one, &one, sizeof one);
            std::memcpy(out + SECTOR_SIZE + i * sizeof two, &two, sizeof two);
        }
        write_pair_offsets(out, offset);
    }
    return fill<sizeof(words)>(out, count, offset);
}

constexpr sector_lanes_functions avx512_ifma = {"AVX-512 IFMA", fill_avx512_ifma, intact_avx512};
#endif

using usable_list = std::array<const sector_lanes_functions *, 5>;

usable_list find_usable() {
    usable_list list{};
    size_t count = 0;
#if defined(__x86_64__)
    if (processor_has_avx512() && processor_has_avx512_ifma())
        list[count++] = &avx512_ifma;
    if (processor_has_avx512())
        list[count++] = &avx512;
    if (processor_has_avx2())
        list[count++] = &avx2;
#endif
    list[count] = &baseline;
    return list;
}

}  // namespace

static const usable_list &usable() {
    static const usable_list list = find_usable();
    return list;
}

/* Written below, before main and before there are threads; read by every thread. Never
 * null, so that earlier constructors can write sectors too. */
const struct sector_lanes_functions *sector_lanes_chosen = &baseline;

__attribute__((constructor)) static void choose_widest() {
    sector_lanes_chosen = usable()[0];
}

const struct sector_lanes_functions *sector_lanes_usable(size_t position) {
    return position < usable().size() ? usable()[position] : nullptr;
}
