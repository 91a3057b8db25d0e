// SPDX-License-Identifier: GPL-3.0-or-later
/* The faults between host and cells. Whole ranges are read and written at once; only garbage
 * and a flip rate are computed sector by sector. */
#include "tools/cardsim/card.h"

#include <algorithm>
#include <cstring>

namespace cardsim {

namespace {

// The finalizer of the SplitMix64 generator: every input bit affects every result bit, which
// is random enough here.
uint64_t mix(uint64_t value) {
    value += 0x9E3779B97F4A7C15U;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9U;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBU;
    return value ^ (value >> 31);
}

// Make garbage and flips of one seed independent.
constexpr uint64_t GARBAGE_SALT = 0x67617262;
constexpr uint64_t FLIP_SALT = 0x666C6970;

uint64_t sector_hash(uint64_t seed, uint64_t salt, uint64_t sector) {
    return mix(mix(seed ^ mix(salt)) ^ sector);
}

void flip_bit(uint64_t sector, unsigned bit, uint64_t position, std::span<std::byte> bytes) {
    const uint64_t at = sector * CARD_SECTOR_SIZE + bit / 8;
    if (at >= position && at - position < bytes.size()) {
        bytes[static_cast<size_t>(at - position)] ^= static_cast<std::byte>(1U << (bit % 8));
    }
}

}  // namespace

card::card(card_traits traits, std::unique_ptr<sector_store> store)
    : m_traits(std::move(traits)), m_store(std::move(store)) {}

bool card::readable(uint64_t first, uint64_t count) const {
    return !m_traits.read_errors.overlap(first, count);
}

bool card::writable(uint64_t first, uint64_t count) const {
    return !m_traits.write_errors.overlap(first, count);
}

bool card::folds() const {
    return m_traits.beyond == card_beyond::wrap || m_traits.beyond == card_beyond::wrap_last;
}

/* The cell of a host position. Cuts length to the part that is contiguous there. Only for
 * positions that have a cell. */
uint64_t card::landing_position(uint64_t position, size_t *length) const {
    const uint64_t real = m_traits.real_sectors * CARD_SECTOR_SIZE;
    uint64_t landing = position;
    if (position >= real) {
        const uint64_t window = m_traits.beyond == card_beyond::wrap
                                    ? real
                                    : m_traits.wrap_last_sectors * CARD_SECTOR_SIZE;
        landing = real - window + (position - real) % window;
    }
    *length = static_cast<size_t>(std::min<uint64_t>(*length, real - landing));
    return landing;
}

void card::fill_lost(uint64_t position, std::span<std::byte> into) const {
    if (m_traits.beyond != card_beyond::garbage) {
        const int fill = m_traits.beyond == card_beyond::drop_ff ? 0xFF : 0x00;
        std::memset(into.data(), fill, into.size());
        return;
    }
    for (std::byte &byte : into) {
        const uint64_t within = position % CARD_SECTOR_SIZE;
        const uint64_t word =
            mix(sector_hash(m_traits.seed, GARBAGE_SALT, position / CARD_SECTOR_SIZE) + within / 8);
        byte = static_cast<std::byte>((word >> (within % 8 * 8)) & 0xFF);
        ++position;
    }
}

void card::flip_bits(uint64_t position, std::span<std::byte> bytes) const {
    const uint64_t first = position / CARD_SECTOR_SIZE;
    const uint64_t last = (position + bytes.size() - 1) / CARD_SECTOR_SIZE;
    for (auto flip = m_traits.flips.lower_bound({first, 0});
         flip != m_traits.flips.end() && flip->first <= last; ++flip) {
        flip_bit(flip->first, flip->second, position, bytes);
    }
    if (m_traits.flip_rate <= 0) {
        return;
    }
    for (uint64_t sector = first; sector <= last; ++sector) {
        const uint64_t hash = sector_hash(m_traits.seed, FLIP_SALT, sector);
        // The upper 53 bits, a double's precision, make a uniform fraction in [0, 1).
        const double fraction = static_cast<double>(hash >> 11) * 0x1p-53;
        if (fraction < m_traits.flip_rate) {
            flip_bit(sector, static_cast<unsigned>(mix(hash) % CARD_SECTOR_BITS), position, bytes);
        }
    }
}

/* Reads the cells of a position, before misreads and flips. */
int card::read_cells(uint64_t position, std::span<std::byte> into) {
    const uint64_t real = m_traits.real_sectors * CARD_SECTOR_SIZE;
    while (!into.empty()) {
        size_t length = into.size();
        if (position < real || folds()) {
            const uint64_t landing = landing_position(position, &length);
            if (const int error = m_store->read(landing, into.first(length)); error != 0) {
                return error;
            }
        } else {
            fill_lost(position, into.first(length));
        }
        into = into.subspan(length);
        position += length;
    }
    return 0;
}

/* Replaces misread sectors by the contents of others. */
int card::mistake_sectors(uint64_t position, std::span<std::byte> bytes) {
    const uint64_t end = position + bytes.size();
    const uint64_t last = (end - 1) / CARD_SECTOR_SIZE;
    for (auto misread = m_traits.misreads.lower_bound(position / CARD_SECTOR_SIZE);
         misread != m_traits.misreads.end() && misread->first <= last; ++misread) {
        const uint64_t start = misread->first * CARD_SECTOR_SIZE;
        const uint64_t from = std::max(position, start);
        const uint64_t length = std::min(end, start + CARD_SECTOR_SIZE) - from;
        const int error = read_cells(misread->second * CARD_SECTOR_SIZE + (from - start),
                                     bytes.subspan(static_cast<size_t>(from - position), length));
        if (error != 0) {
            return error;
        }
    }
    return 0;
}

int card::read(uint64_t position, std::span<std::byte> into) {
    if (into.empty()) {
        return 0;
    }
    int error = read_cells(position, into);
    if (error == 0) {
        error = mistake_sectors(position, into);
    }
    if (error == 0) {
        flip_bits(position, into);
    }
    return error;
}

int card::write(uint64_t position, std::span<const std::byte> from) {
    const uint64_t real = m_traits.real_sectors * CARD_SECTOR_SIZE;
    while (!from.empty()) {
        if (position >= real && !folds()) {
            return 0;
        }
        size_t length = from.size();
        const uint64_t landing = landing_position(position, &length);
        if (const int error = m_store->write(landing, from.first(length)); error != 0) {
            return error;
        }
        from = from.subspan(length);
        position += length;
    }
    return 0;
}

}  // namespace cardsim
