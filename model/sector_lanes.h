/* Whole sectors at once, as wide as the processor works.
 *
 * One form in plain C++, on the compilers' vector types, is compiled for several
 * widths; the widest that the processor has is chosen when the program starts. What
 * is computed does not depend on the width. A single instruction is named by hand,
 * where it is more than a fifth faster than what compilers find. */
#ifndef TROVIK_MODEL_SECTOR_LANES_H
#define TROVIK_MODEL_SECTOR_LANES_H

#include <stddef.h>
#include <stdint.h>

/* One way of working on sectors. */
struct sector_lanes_functions {
    /* "AVX-512 IFMA", "AVX-512", "AVX2", "baseline" */
    const char *name;
    /* Writes `count` sectors, the first one keyed to `offset`, a multiple of
     * SECTOR_SIZE, to `out`. Returns the offset that follows the last one. */
    uint64_t (*fill)(char *out, size_t count, uint64_t offset);
    /* How many of the `count` sectors are, from the first one on, bit for bit those
     * that `fill` writes for `offset`, a multiple of SECTOR_SIZE. */
    size_t (*intact)(const char *sectors, size_t count, uint64_t offset);
};

/* The one that was chosen for this processor. Written once, while the program is set up
 * on its only thread; from main on only read, by every thread. */
extern const struct sector_lanes_functions *sector_lanes_chosen;

/* Any thread. Inline, for a block of 1 KiB is written in some ten nanoseconds. */
inline const struct sector_lanes_functions &sector_lanes_best() {
    return *sector_lanes_chosen;
}

/* Every one that this processor can run, the widest first, for tests and
 * measurements; null behind the last. */
const struct sector_lanes_functions *sector_lanes_usable(size_t position);

#endif
