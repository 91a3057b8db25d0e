/* Which card sectors hold a file, and its bytes through them. Sectors are taken
 * when they are first written, in the order of writing; parts never written are
 * holes that read as zeros and take no room. Adds no fault of its own: those are
 * the card's. */
#ifndef TROVIK_TOOLS_CARDSIM_FILE_CONTENTS_H
#define TROVIK_TOOLS_CARDSIM_FILE_CONTENTS_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>

#include "tools/cardsim/card.h"
#include "tools/cardsim/sector_allocator.h"

namespace cardsim {

/* What all files share: the card and its free room. */
struct card_room {
    card device;
    sector_allocator space;
};

class file_contents {
 public:
    uint64_t size() const { return m_size; }

    /* Card sectors that belong to the file. */
    uint64_t sectors() const { return m_sectors; }

    /* The card sector behind a sector of the file; false for a hole. */
    bool card_sector(uint64_t file_sector, uint64_t *sector) const;

    /* Fills into from the file; all of it must lie before the end. Returns 0, or
     * EIO without touching any sector where one of those concerned is bad. */
    int read(card_room &room, uint64_t offset, std::span<std::byte> into) const;

    /* Writes the bytes for which there is room; *accepted says how many, counted
     * from the first. Returns 0, ENOSPC if not one found room, EIO (with nothing
     * written; new sectors stay with the file, so that a second try meets the same
     * ones) where one of the sectors cannot be written. */
    int write(card_room &room, uint64_t offset, std::span<const std::byte> from,
              uint64_t *accepted);

    /* Makes the file this long with sectors for all of it, in order, holding what the
     * card holds there. Returns 0, or ENOSPC where they do not suffice. */
    int occupy(card_room &room, uint64_t size);

    /* Cuts the file or makes it longer with a hole. Returns 0 or an error number. */
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
