/* Whole sectors at once, as wide as the processor works.
 *
 * One form in plain C++, on the compilers' vector types, is compiled for several
 * widths; the widest that the processor has is chosen when the program starts. What
 * is computed does not depend on the width. */
#ifndef TROVIK_MODEL_SECTOR_LANES_H
#define TROVIK_MODEL_SECTOR_LANES_H

#include <stddef.h>
#include <stdint.h>

/* One way of working on sectors. */
struct sector_lanes_functions {
    /* "AVX-512", "AVX2", "baseline" */
    const char *name;
    /* Writes `count` sectors, the first one keyed to `offset`, a multiple of
     * SECTOR_SIZE, to `out`. */
    void (*fill)(char *out, size_t count, uint64_t offset);
    /* Whether the sector's body is the one that belongs to `offset`, a multiple of
     * SECTOR_SIZE. Its first word is not looked at. */
    int (*body_matches)(const char *sector, uint64_t offset);
};

/* The one that was chosen for this processor. Any thread. */
const struct sector_lanes_functions &sector_lanes_best();

/* Every one that this processor can run, the widest first, for tests and
 * measurements; null behind the last. */
const struct sector_lanes_functions *sector_lanes_usable(size_t position);

#endif
