// SPDX-License-Identifier: GPL-3.0-or-later
/* Controls the path between a file and its medium: flush, release, read-ahead, bypass. One
 * file per system implements it. Each returns 0 on success and an error number otherwise;
 * the caller decides what a failure means. */
#ifndef TROVIK_MODEL_MEDIUM_H
#define TROVIK_MODEL_MEDIUM_H

#ifdef __cplusplus
extern "C" {
#endif

/* Flushes the file's dirty pages and the device's buffer to the medium. */
int medium_flush(int fd);

/* Drops the file's clean pages from the page cache, so that later reads go to the medium.
 * Flush first: dirty pages stay. */
int medium_release(int fd);

/* Announces sequential reading, for read-ahead. */
int medium_read_ahead(int fd);

/* Lets later reads of the descriptor bypass the page cache, so that each fails only for
 * the sectors that it asks for. They may then need the alignment of the device's blocks. */
int medium_bypass_cache(int fd);

#ifdef __cplusplus
}
#endif
#endif
