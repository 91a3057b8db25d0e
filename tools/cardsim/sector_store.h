// SPDX-License-Identifier: GPL-3.0-or-later
/* The card's cells: the bytes really kept. Knows nothing of faults. Bytes never written read
 * as zero and take no room: a card of many gigabytes costs only what is used. */
#ifndef TROVIK_TOOLS_CARDSIM_SECTOR_STORE_H
#define TROVIK_TOOLS_CARDSIM_SECTOR_STORE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace cardsim {

class sector_store {
 public:
    sector_store() = default;
    sector_store(const sector_store &) = delete;
    sector_store &operator=(const sector_store &) = delete;
    virtual ~sector_store() = default;

    /* Both take a position in bytes and return 0 or an error number of the simulation itself
     * (ENOMEM, or the backing file's error). */
    virtual int read(uint64_t position, std::span<std::byte> into) = 0;
    virtual int write(uint64_t position, std::span<const std::byte> from) = 0;
};

/* Keeps the cells in memory. */
std::unique_ptr<sector_store> sector_store_in_memory();

/* Keeps the cells in a file of the given length, whose byte n is the card's byte n, so that
 * the cells can be inspected without the mount. Creates the file, or uses an existing one
 * that is regular and empty. On failure returns null with the reason in error. */
std::unique_ptr<sector_store> sector_store_in_file(const std::string &path, uint64_t length,
                                                   std::string *error);

}  // namespace cardsim

#endif
