// SPDX-License-Identifier: GPL-3.0-or-later
// Benchmarks of the pattern and the classification, next to memset, memcpy and memcmp on the
// same buffers in the same run: ratios depend less on the machine than rates.
#include <benchmark/benchmark.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "model/f3read.h"
#include "model/sector_lanes.h"
#include "model/test_sector.h"

namespace {

// Aligned to 64 bytes, like the engine's buffers.
struct alignas(64) buffer_part {
    char bytes[64];
};

class buffer {
 public:
    explicit buffer(size_t size) : m_parts(size / sizeof(buffer_part)) {}
    char *data() { return m_parts.front().bytes; }
    const char *data() const { return m_parts.front().bytes; }
    size_t size() const { return m_parts.size() * sizeof(buffer_part); }

 private:
    std::vector<buffer_part> m_parts;
};

// Consecutive sectors as written, each damaged by `spoil`.
buffer written_sectors(size_t size, const std::function<void(char *)> &spoil) {
    buffer sectors(size);
    fill_buffer(sectors.data(), size, 0);
    for (size_t at = 0; at < size; at += SECTOR_SIZE)
        spoil(sectors.data() + at);
    return sectors;
}

void leave(char *) {}

void flip_one_word(char *sector) {
    sector[256] ^= 1;
}

void clear(char *sector) {
    std::memset(sector, 0xFF, SECTOR_SIZE);
}

// Valid data from 4 GiB further on, with the same body.
void move_away(char *sector) {
    sector[4] ^= 1;
}

void fill(benchmark::State &state) {
    buffer sectors(static_cast<size_t>(state.range(0)));
    uint64_t offset = 0;
    while (state.KeepRunning()) {
        offset = fill_buffer(sectors.data(), sectors.size(), offset);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void fill_step_by_step(benchmark::State &state) {
    buffer sectors(static_cast<size_t>(state.range(0)));
    uint64_t offset = 0;
    while (state.KeepRunning()) {
        for (size_t at = 0; at < sectors.size(); at += SECTOR_SIZE, offset += SECTOR_SIZE) {
            uint64_t words[SECTOR_WORDS];
            struct rng_state generator;
            words[0] = offset;
            rng_seed(offset, &generator);
            for (int i = 1; i < SECTOR_WORDS; ++i)
                rng_next(&generator, &words[i]);
            std::memcpy(sectors.data() + at, words, SECTOR_SIZE);
        }
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void set_memory(benchmark::State &state) {
    buffer sectors(static_cast<size_t>(state.range(0)));
    while (state.KeepRunning()) {
        std::memset(sectors.data(), 0x5A, sectors.size());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void copy_memory(benchmark::State &state) {
    const buffer from = written_sectors(static_cast<size_t>(state.range(0)), leave);
    buffer to(from.size());
    while (state.KeepRunning()) {
        std::memcpy(to.data(), from.data(), from.size());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void compare_memory(benchmark::State &state) {
    const auto size = static_cast<size_t>(state.range(0));
    const buffer first = written_sectors(size, leave);
    buffer second = first;
    while (state.KeepRunning()) {
        benchmark::DoNotOptimize(second.data());
        benchmark::DoNotOptimize(std::memcmp(first.data(), second.data(), size));
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void classify(benchmark::State &state, void (*spoil)(char *)) {
    const buffer sectors = written_sectors(static_cast<size_t>(state.range(0)), spoil);
    std::vector<enum sector_class> classes(sectors.size() / SECTOR_SIZE);
    while (state.KeepRunning()) {
        f3read_classify_sectors(sectors.data(), classes.size(), 0, classes.data());
        benchmark::DoNotOptimize(classes.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

// The same for each SIMD width that this processor supports.
void fill_in_form(benchmark::State &state, const sector_lanes_functions &form) {
    buffer sectors(static_cast<size_t>(state.range(0)));
    uint64_t offset = 0;
    while (state.KeepRunning()) {
        offset = form.fill(sectors.data(), sectors.size() / SECTOR_SIZE, offset);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void compare_in_form(benchmark::State &state, const sector_lanes_functions &form) {
    const buffer sectors = written_sectors(static_cast<size_t>(state.range(0)), leave);
    while (state.KeepRunning()) {
        benchmark::DoNotOptimize(form.intact(sectors.data(), sectors.size() / SECTOR_SIZE, 0));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

struct workload {
    std::string name;
    std::function<void(benchmark::State &)> run;
};

const workload workloads[] = {
    {"fill_buffer", fill},
    {"fill_step_by_step", fill_step_by_step},
    {"memset", set_memory},
    {"memcpy", copy_memory},
    {"memcmp", compare_memory},
    {"classify/intact", [](benchmark::State &state) { classify(state, leave); }},
    {"classify/changed", [](benchmark::State &state) { classify(state, flip_one_word); }},
    {"classify/corrupted", [](benchmark::State &state) { classify(state, clear); }},
    {"classify/overwritten", [](benchmark::State &state) { classify(state, move_away); }},
};

std::vector<workload> workloads_of_all_forms() {
    std::vector<workload> all(std::begin(workloads), std::end(workloads));
    for (size_t i = 0; const sector_lanes_functions *form = sector_lanes_usable(i); ++i) {
        all.push_back({std::string("fill in the form for ") + form->name,
                       [form](benchmark::State &state) { fill_in_form(state, *form); }});
        all.push_back({std::string("intact in the form for ") + form->name,
                       [form](benchmark::State &state) { compare_in_form(state, *form); }});
    }
    return all;
}

const bool registered = [] {
    for (const workload &each : workloads_of_all_forms())
        benchmark::RegisterBenchmark(each.name.c_str(), each.run)
            ->Arg(1 << 10)
            ->Arg(1 << 16)
            ->Arg(1 << 20);
    return true;
}();

}  // namespace
