// SPDX-License-Identifier: GPL-3.0-or-later
// Makes test files come from the medium when they are read next, or says why they may not.
//
// A read that the page cache answers says nothing about the medium. There can be two copies: the
// files' own pages, and below a FUSE file system or a loop device the pages of the block device or
// backing file. Both are flushed, dropped and then checked, because dropping is only advice.
#ifndef TROVIK_VOLUME_COLD_READ_H
#define TROVIK_VOLUME_COLD_READ_H

#include <string>
#include <vector>

#include "volume/volume.h"

// Prepares a cold read of the files `names` in the folder `root` of `volume`. Returns an empty text
// if the next read comes from the medium, else one line with the reasons why it may not; names and
// paths in it are raw bytes.
//
// `unlisted` is the reason why `names` may be incomplete, or empty.
//
// With `medium_is_memory`, takes the word of a FUSE file system (the volume's, or one that holds a
// backing file below it) that it keeps no copy besides its medium. A copy that shows is still a
// reason: a source that is a folder or device. What can be dropped is still dropped and checked.
//
// Takes about a second for a file whose pages stay, and as long as flushing the device takes. Any
// thread.
std::string cold_read_prepare(const volume_info &volume, const std::string &root,
                              const std::vector<std::string> &names, const std::string &unlisted,
                              bool medium_is_memory) noexcept;

// The two halves, with the same result.

// Drops the pages of the files. Ends at the first file that stays or may stay resident. Skips files
// that are missing, not regular or cannot be opened (reading them reports that), and a volume in
// memory. Follows no link and waits for no FIFO's writer.
std::string cold_read_files(const volume_info &volume, const std::string &root,
                            const std::vector<std::string> &names);

// Drops the pages below the volume's file system. A backing file in memory has memory for its
// medium. Touches the device and the volumes that hold backing files, not the volume itself. One
// implementation per system.
std::string cold_read_device(const volume_info &volume, bool medium_is_memory);

#endif
