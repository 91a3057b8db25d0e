/* Free space of a file system, blocks reserved for the super-user included: the
 * test may well be able to write them, and a card's owner wants them counted. */
#ifndef TROVIK_MODEL_FREE_SPACE_H
#define TROVIK_MODEL_FREE_SPACE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Asks the file system that holds `path`. Returns 1 with the free bytes in
 * `*bytes`, or 0 with 0 bytes when there is no answer. Any thread. */
int free_space_query(const char *path, uint64_t *bytes);

#ifdef __cplusplus
}
#endif
#endif
