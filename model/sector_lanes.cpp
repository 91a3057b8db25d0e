/* Sectors are written in pairs: the second of a pair follows from the first by one
 * addition, which is cheaper than the multiplication of a sector on its own, and a
 * write block of 1 KiB is exactly one pair. */
#include "model/sector_lanes.h"

#include <array>
#include <cstring>

#include "model/processor.h"
#include "model/sector_pattern.h"
#include "model/test_sector.h"

namespace {

/* Everything below is compiled into functions for other processors than the one that
 * the program is compiled for, so nothing of it may remain a function of its own. */
#define LANES_INLINE inline __attribute__((always_inline))

template <size_t bytes>
struct lane_vector {
    typedef uint32_t type __attribute__((vector_size(bytes)));
    static constexpr size_t per_sector = SECTOR_SIZE / bytes;
    static constexpr size_t lanes = bytes / sizeof(uint32_t);
};

/* By reference: a vector as a result would be part of an interface that differs from
 * processor to processor. */
template <typename vector_type>
LANES_INLINE void load(const void *from, vector_type &loaded) {
    std::memcpy(&loaded, from, sizeof loaded);
}

template <size_t bytes>
LANES_INLINE void write_sector_pair(char *out, uint64_t offset) {
    using vector = lane_vector<bytes>;
    const uint32_t number = sector_pattern::sector_number(offset);
    const auto mask = typename vector::type{} + sector_pattern::result_mask;
#pragma GCC unroll 32
    for (size_t i = 0; i < vector::per_sector; ++i) {
        typename vector::type step, first;
        load(&sector_pattern::lanes.step[i * vector::lanes], step);
        load(&sector_pattern::lanes.first[i * vector::lanes], first);
        const auto one = (step * number + first) & mask;
        const auto two = (one + step) & mask;
        std::memcpy(out + i * bytes, &one, bytes);
        std::memcpy(out + SECTOR_SIZE + i * bytes, &two, bytes);
    }
    const uint64_t next = offset + SECTOR_SIZE;
    std::memcpy(out, &offset, sizeof offset);
    std::memcpy(out + SECTOR_SIZE, &next, sizeof next);
}

template <size_t bytes>
LANES_INLINE void write_sector(char *out, uint64_t offset) {
    using vector = lane_vector<bytes>;
    const uint32_t number = sector_pattern::sector_number(offset);
    const auto mask = typename vector::type{} + sector_pattern::result_mask;
    for (size_t i = 0; i < vector::per_sector; ++i) {
        typename vector::type step, first;
        load(&sector_pattern::lanes.step[i * vector::lanes], step);
        load(&sector_pattern::lanes.first[i * vector::lanes], first);
        const auto words = (step * number + first) & mask;
        std::memcpy(out + i * bytes, &words, bytes);
    }
    std::memcpy(out, &offset, sizeof offset);
}

template <size_t bytes>
LANES_INLINE void fill(char *out, size_t count, uint64_t offset) {
    constexpr size_t pair = 2 * static_cast<size_t>(SECTOR_SIZE);
    for (; count >= 2; count -= 2, out += pair, offset += pair)
        write_sector_pair<bytes>(out, offset);
    if (count != 0)
        write_sector<bytes>(out, offset);
}

template <size_t bytes>
LANES_INLINE int body_matches(const char *sector, uint64_t offset) {
    using vector = lane_vector<bytes>;
    const uint32_t number = sector_pattern::sector_number(offset);
    const auto mask = typename vector::type{} + sector_pattern::result_mask;
    auto difference = typename vector::type{};
    for (size_t i = 0; i < vector::per_sector; ++i) {
        typename vector::type step, first;
        load(&sector_pattern::lanes.step[i * vector::lanes], step);
        load(&sector_pattern::lanes.first[i * vector::lanes], first);
        typename vector::type wrong;
        load(sector + i * bytes, wrong);
        wrong ^= (step * number + first) & mask;
        if (i == 0)
            wrong[0] = wrong[1] = 0; /* the offset itself */
        difference |= wrong;
    }
    std::array<uint64_t, bytes / sizeof(uint64_t)> words;
    std::memcpy(words.data(), &difference, bytes);
    uint64_t any = 0;
    for (const uint64_t word : words)
        any |= word;
    return any == 0;
}

void fill_baseline(char *out, size_t count, uint64_t offset) {
    fill<16>(out, count, offset);
}

int body_matches_baseline(const char *sector, uint64_t offset) {
    return body_matches<16>(sector, offset);
}

constexpr sector_lanes_functions baseline = {"baseline", fill_baseline, body_matches_baseline};

#if defined(__x86_64__)
__attribute__((target("avx2"))) void fill_avx2(char *out, size_t count, uint64_t offset) {
    fill<32>(out, count, offset);
}

__attribute__((target("avx2"))) int body_matches_avx2(const char *sector, uint64_t offset) {
    return body_matches<32>(sector, offset);
}

constexpr sector_lanes_functions avx2 = {"AVX2", fill_avx2, body_matches_avx2};

#define AVX512 __attribute__((target("avx512f,avx512dq,avx512bw,avx512vl")))

AVX512 void fill_avx512(char *out, size_t count, uint64_t offset) {
    fill<64>(out, count, offset);
}

AVX512 int body_matches_avx512(const char *sector, uint64_t offset) {
    return body_matches<64>(sector, offset);
}

constexpr sector_lanes_functions avx512 = {"AVX-512", fill_avx512, body_matches_avx512};
#endif

using usable_list = std::array<const sector_lanes_functions *, 4>;

usable_list find_usable() {
    usable_list list{};
    size_t count = 0;
#if defined(__x86_64__)
    if (processor_has_avx512())
        list[count++] = &avx512;
    if (processor_has_avx2())
        list[count++] = &avx2;
#endif
    list[count] = &baseline;
    return list;
}

}  // namespace

/* Found out once, before main. */
static const usable_list usable = find_usable();

const struct sector_lanes_functions &sector_lanes_best() {
    return *usable[0];
}

const struct sector_lanes_functions *sector_lanes_usable(size_t position) {
    return position < usable.size() ? usable[position] : nullptr;
}
