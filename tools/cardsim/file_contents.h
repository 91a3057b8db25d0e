// SPDX-License-Identifier: GPL-3.0-or-later
/* Maps a file to card sectors, and reads and writes its bytes there. Sectors are allocated
 * on the first write, in the order of writing; holes read as zeros and take no sectors. All
 * faults are the card's. */
#ifndef TROVIK_TOOLS_CARDSIM_FILE_CONTENTS_H
#define TROVIK_TOOLS_CARDSIM_FILE_CONTENTS_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>

#include "tools/cardsim/card.h"
#include "tools/cardsim/sector_allocator.h"

namespace cardsim {

/* Shared by all files: the card and its free sectors. */
struct card_room {
    card device;
    sector_allocator space;
};

class file_contents {
 public:
    uint64_t size() const { return m_size; }

    /* Card sectors that belong to the file. */
    uint64_t sectors() const { return m_sectors; }

    /* The card sector of a file sector; false for a hole. */
    bool card_sector(uint64_t file_sector, uint64_t *sector) const;

    /* Fills into from the file; all of it must lie before the end. Returns 0, or EIO, with
     * nothing read, if one of the sectors is bad. */
    int read(card_room &room, uint64_t offset, std::span<std::byte> into) const;

    /* Writes the first *accepted bytes, as many as there is room for. Returns 0, ENOSPC if
     * there is no room at all, or EIO, with nothing written, if one of the sectors is bad;
     * the file keeps new sectors, so that a retry meets the same ones. */
    int write(card_room &room, uint64_t offset, std::span<const std::byte> from,
              uint64_t *accepted);

    /* Sets the file's length and maps all of it, in order, keeping the card's contents.
     * Returns 0, or ENOSPC if there are too few sectors. */
    int occupy(card_room &room, uint64_t size);

    /* Cuts the file or extends it with a hole. Returns 0 or an error number. */
    int resize(card_room &room, uint64_t size);

 private:
    struct piece {
        uint64_t file_sector;
        uint64_t card_sector;  // meaningful if mapped
        uint64_t count;
        bool mapped;
    };
    // The run that starts at a file sector: mapped, or a hole up to the next run.
    piece piece_at(uint64_t file_sector, uint64_t end) const;
    uint64_t map_sectors(card_room &room, uint64_t first, uint64_t end);
    void map_run(uint64_t file_sector, sector_run run);
    void unmap_from(card_room &room, uint64_t file_sector);
    int clear(card_room &room, uint64_t from, uint64_t to) const;

    std::map<uint64_t, sector_run> m_runs;  // first file sector -> card sectors
    uint64_t m_size = 0;
    uint64_t m_sectors = 0;
};

}  // namespace cardsim

#endif
