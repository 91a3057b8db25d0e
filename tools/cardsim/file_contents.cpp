// SPDX-License-Identifier: GPL-3.0-or-later
/* Files as runs of card sectors. A file written sequentially is one run, whatever its
 * length. */
#include "tools/cardsim/file_contents.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

namespace cardsim {

namespace {

uint64_t sectors_for(uint64_t bytes) {
    return bytes / CARD_SECTOR_SIZE + (bytes % CARD_SECTOR_SIZE != 0 ? 1 : 0);
}

}  // namespace

file_contents::piece file_contents::piece_at(uint64_t file_sector, uint64_t end) const {
    const auto next = m_runs.upper_bound(file_sector);
    if (next != m_runs.begin()) {
        const auto &[first, run] = *std::prev(next);
        const uint64_t into = file_sector - first;
        if (into < run.count) {
            return {file_sector, run.first + into, std::min(run.count - into, end - file_sector),
                    true};
        }
    }
    const uint64_t hole_end = next == m_runs.end() ? end : std::min(end, next->first);
    return {file_sector, 0, hole_end - file_sector, false};
}

bool file_contents::card_sector(uint64_t file_sector, uint64_t *sector) const {
    const piece found = piece_at(file_sector, file_sector + 1);
    *sector = found.card_sector;
    return found.mapped;
}

int file_contents::read(card_room &room, uint64_t offset, std::span<std::byte> into) const {
    const uint64_t end = sectors_for(offset + into.size());
    for (uint64_t at = offset / CARD_SECTOR_SIZE; at < end;) {
        const piece part = piece_at(at, end);
        if (part.mapped && !room.device.readable(part.card_sector, part.count)) {
            return EIO;
        }
        at += part.count;
    }
    while (!into.empty()) {
        const piece part = piece_at(offset / CARD_SECTOR_SIZE, end);
        const uint64_t within = offset % CARD_SECTOR_SIZE;
        const size_t length = static_cast<size_t>(
            std::min<uint64_t>(into.size(), part.count * CARD_SECTOR_SIZE - within));
        if (part.mapped) {
            const int error =
                room.device.read(part.card_sector * CARD_SECTOR_SIZE + within, into.first(length));
            if (error != 0) {
                return error;
            }
        } else {
            std::memset(into.data(), 0, length);
        }
        into = into.subspan(length);
        offset += length;
    }
    return 0;
}

void file_contents::map_run(uint64_t file_sector, sector_run run) {
    m_sectors += run.count;
    const auto next = m_runs.lower_bound(file_sector);
    if (next != m_runs.begin()) {
        auto &[first, before] = *std::prev(next);
        if (first + before.count == file_sector && before.first + before.count == run.first) {
            before.count += run.count;
            return;
        }
    }
    m_runs.emplace_hint(next, file_sector, run);
}

/* Maps every file sector in [first, end) to a card sector, in order, while there are free
 * ones. Returns the first unmapped file sector, or end. */
uint64_t file_contents::map_sectors(card_room &room, uint64_t first, uint64_t end) {
    while (first < end) {
        const piece part = piece_at(first, end);
        if (part.mapped) {
            first += part.count;
            continue;
        }
        const sector_run run = room.space.take(part.count);
        if (run.count == 0) {
            return first;
        }
        map_run(first, run);
        first += run.count;
    }
    return end;
}

/* Zeroes the mapped bytes in [from, to). */
int file_contents::clear(card_room &room, uint64_t from, uint64_t to) const {
    static constexpr std::array<std::byte, CARD_SECTOR_SIZE> zeros{};
    while (from < to) {
        const piece part = piece_at(from / CARD_SECTOR_SIZE, sectors_for(to));
        const uint64_t within = from % CARD_SECTOR_SIZE;
        if (!part.mapped) {
            from += part.count * CARD_SECTOR_SIZE - within;
            continue;
        }
        const uint64_t length = std::min(to - from, CARD_SECTOR_SIZE - within);
        const int error = room.device.write(part.card_sector * CARD_SECTOR_SIZE + within,
                                            std::span(zeros).first(length));
        if (error != 0) {
            return error;
        }
        from += length;
    }
    return 0;
}

int file_contents::write(card_room &room, uint64_t offset, std::span<const std::byte> from,
                         uint64_t *accepted) {
    *accepted = 0;
    if (from.empty()) {
        return 0;
    }
    const uint64_t first = offset / CARD_SECTOR_SIZE;
    const uint64_t last = (offset + from.size() - 1) / CARD_SECTOR_SIZE;
    // Zeroes the rest of the two sectors that may be written in part, so that they do not
    // show the card's old contents.
    uint64_t unused = 0;
    const bool first_is_new = !card_sector(first, &unused);
    const bool last_is_new = !card_sector(last, &unused);
    const uint64_t end = map_sectors(room, first, last + 1);
    if (end == first) {
        return ENOSPC;
    }
    for (uint64_t at = first; at < end;) {
        const piece part = piece_at(at, end);
        if (!room.device.writable(part.card_sector, part.count)) {
            return EIO;
        }
        at += part.count;
    }
    const uint64_t stop = std::min(offset + from.size(), end * CARD_SECTOR_SIZE);
    int error = offset > m_size ? clear(room, m_size, offset) : 0;
    if (error == 0 && first_is_new) {
        error = clear(room, first * CARD_SECTOR_SIZE, offset);
    }
    if (error == 0 && last_is_new && end == last + 1) {
        error = clear(room, stop, end * CARD_SECTOR_SIZE);
    }
    uint64_t at = offset;
    while (error == 0 && at < stop) {
        const piece part = piece_at(at / CARD_SECTOR_SIZE, end);
        const uint64_t within = at % CARD_SECTOR_SIZE;
        const uint64_t length = std::min(stop - at, part.count * CARD_SECTOR_SIZE - within);
        error = room.device.write(part.card_sector * CARD_SECTOR_SIZE + within,
                                  from.subspan(at - offset, length));
        at += length;
    }
    if (error != 0) {
        return error;
    }
    *accepted = stop - offset;
    m_size = std::max(m_size, stop);
    return 0;
}

void file_contents::unmap_from(card_room &room, uint64_t file_sector) {
    auto at = m_runs.lower_bound(file_sector);
    if (at != m_runs.begin()) {
        auto &[first, run] = *std::prev(at);
        const uint64_t kept = file_sector - first;
        if (kept < run.count) {
            room.space.give_back({run.first + kept, run.count - kept});
            m_sectors -= run.count - kept;
            run.count = kept;
        }
    }
    while (at != m_runs.end()) {
        room.space.give_back(at->second);
        m_sectors -= at->second.count;
        at = m_runs.erase(at);
    }
}

int file_contents::occupy(card_room &room, uint64_t size) {
    m_size = size;
    const uint64_t end = sectors_for(size);
    return map_sectors(room, 0, end) == end ? 0 : ENOSPC;
}

int file_contents::resize(card_room &room, uint64_t size) {
    if (size > m_size) {
        // Left in the last sector by a cut, or behind the end by a failed write.
        if (const int error = clear(room, m_size, size); error != 0) {
            return error;
        }
    } else {
        unmap_from(room, sectors_for(size));
    }
    m_size = size;
    return 0;
}

}  // namespace cardsim
