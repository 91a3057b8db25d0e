/* The cells of the card: what has really been kept, byte for byte. Knows nothing
 * of faults. Bytes that were never written read as zero, and nothing is taken
 * from the system for them: a card of many gigabytes costs only what is used. */
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

    /* Both take a position in bytes and return 0 or the error number of what the
     * simulation itself runs on (ENOMEM, or what the backing file answers). */
    virtual int read(uint64_t position, std::span<std::byte> into) = 0;
    virtual int write(uint64_t position, std::span<const std::byte> from) = 0;
};

/* Keeps the cells in memory. */
std::unique_ptr<sector_store> sector_store_in_memory();

/* Keeps the cells in a file of the given length, whose byte n is the card's byte
 * n, so that others can look at the card behind the mount's back. The file is
 * created, or taken when it is there, regular and empty: nobody's data is
 * overwritten. On failure returns null and puts the reason into error. */
std::unique_ptr<sector_store> sector_store_in_file(const std::string &path, uint64_t length,
                                                   std::string *error);

}  // namespace cardsim

#endif
