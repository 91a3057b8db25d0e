/* What the engine asks of the medium below a file: flush, release, read-ahead, bypass.
 * One file per system implements it. Each returns 0 on success and an error
 * number otherwise; the caller decides what a failure means. */
#ifndef TROVIK_MODEL_MEDIUM_H
#define TROVIK_MODEL_MEDIUM_H

#ifdef __cplusplus
extern "C" {
#endif

/* Forces all data written to the file onto the medium. */
int medium_flush(int fd);

/* Drops the file's data from the memory cache, so that reading it afterwards
 * reads the medium. Only flushed data can be dropped. */
int medium_release(int fd);

/* Tells the system that the file is going to be read from start to end. */
int medium_read_ahead(int fd);

/* Lets later reads of the descriptor bypass the page cache, so that each fails only for
 * the sectors that it asks for. They may then need the alignment of the device's blocks. */
int medium_bypass_cache(int fd);

#ifdef __cplusplus
}
#endif
#endif
