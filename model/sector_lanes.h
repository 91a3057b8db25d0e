// SPDX-License-Identifier: GPL-3.0-or-later
/* Fills and checks whole sectors with SIMD.
 *
 * One implementation on the compilers' vector types is compiled for several widths; the
 * program picks the widest that the processor supports when it starts. The results do not
 * depend on the width. One intrinsic is used, where it is more than a fifth faster than
 * the compilers' code. */
#ifndef TROVIK_MODEL_SECTOR_LANES_H
#define TROVIK_MODEL_SECTOR_LANES_H

#include <stddef.h>
#include <stdint.h>

/* The functions of one width. */
struct sector_lanes_functions {
    /* "AVX-512 IFMA", "AVX-512", "AVX2", "baseline" */
    const char *name;
    /* Writes `count` sectors to `out`, the first with `offset`, a multiple of SECTOR_SIZE.
     * Returns the offset behind the last. */
    uint64_t (*fill)(char *out, size_t count, uint64_t offset);
    /* Length of the run of intact sectors at the start of the `count` sectors: those equal
     * bit for bit to the ones that `fill` writes for `offset`, a multiple of SECTOR_SIZE. */
    size_t (*intact)(const char *sectors, size_t count, uint64_t offset);
};

/* The functions for this processor. Written once before main, on the only thread; read by
 * every thread. */
extern const struct sector_lanes_functions *sector_lanes_chosen;

/* Any thread. Inline because a block of 1 KiB takes only some ten nanoseconds. */
inline const struct sector_lanes_functions &sector_lanes_best() {
    return *sector_lanes_chosen;
}

/* All that this processor supports, the widest first, for tests and benchmarks; null
 * behind the last. */
const struct sector_lanes_functions *sector_lanes_usable(size_t position);

#endif
