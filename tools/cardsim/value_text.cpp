// SPDX-License-Identifier: GPL-3.0-or-later
/* Strict parsers of option values: a misread size would simulate another card. */
#include "tools/cardsim/value_text.h"

#include <charconv>
#include <limits>
#include <vector>

#include "tools/cardsim/card.h"

namespace cardsim {

namespace {

// Positions in files are signed 64-bit numbers.
constexpr uint64_t LARGEST_SIZE = std::numeric_limits<int64_t>::max();

bool digits_to_number(std::string_view text, uint64_t *number) {
    const char *end = text.data() + text.size();
    const auto [stopped, problem] = std::from_chars(text.data(), end, *number);
    return problem == std::errc() && stopped == end;
}

std::string quoted(std::string_view text) {
    std::string result = "'";
    result.append(text).append("'");
    return result;
}

std::vector<std::string_view> split_at_commas(std::string_view text) {
    std::vector<std::string_view> parts;
    for (;;) {
        const size_t comma = text.find(',');
        parts.push_back(text.substr(0, comma));
        if (comma == std::string_view::npos) {
            return parts;
        }
        text.remove_prefix(comma + 1);
    }
}

bool pair_to_numbers(std::string_view text, uint64_t *first, uint64_t *second) {
    const size_t colon = text.find(':');
    return colon != std::string_view::npos && digits_to_number(text.substr(0, colon), first) &&
           digits_to_number(text.substr(colon + 1), second);
}

}  // namespace

bool value_parse_size(std::string_view text, uint64_t *bytes, std::string *error) {
    static constexpr std::string_view suffixes = "KMGT";
    std::string_view digits = text;
    unsigned shift = 0;
    if (!text.empty()) {
        const size_t suffix = suffixes.find(text.back());
        if (suffix != std::string_view::npos) {
            shift = 10 * (static_cast<unsigned>(suffix) + 1);
            digits.remove_suffix(1);
        }
    }
    uint64_t number = 0;
    if (!digits_to_number(digits, &number)) {
        *error = quoted(text) + " is not a size (examples: 4096, 64K, 16M, 2G)";
        return false;
    }
    if (number > LARGEST_SIZE >> shift) {
        *error = quoted(text) + " is too large";
        return false;
    }
    *bytes = number << shift;
    return true;
}

bool value_parse_number(std::string_view text, uint64_t *number, std::string *error) {
    if (!digits_to_number(text, number)) {
        *error = quoted(text) + " is not a whole number, or too large";
        return false;
    }
    return true;
}

bool value_parse_fraction(std::string_view text, double lowest, double highest, double *value,
                          std::string *error) {
    const char *end = text.data() + text.size();
    const auto [stopped, problem] =
        std::from_chars(text.data(), end, *value, std::chars_format::fixed);
    // Also refuses "nan", which compares as false.
    if (problem != std::errc() || stopped != end || !(*value >= lowest && *value <= highest)) {
        const auto plain = [](double limit) {
            return std::to_string(static_cast<uint64_t>(limit));
        };
        *error = quoted(text) + " is not a number from " + plain(lowest) + " to " + plain(highest);
        return false;
    }
    return true;
}

bool value_parse_ranges(std::string_view text, sector_ranges *ranges, std::string *error) {
    for (const std::string_view part : split_at_commas(text)) {
        const size_t dash = part.find('-');
        uint64_t first = 0;
        if (!digits_to_number(part.substr(0, dash), &first)) {
            *error = quoted(part) + " is not a sector or FIRST-LAST";
            return false;
        }
        uint64_t last = first;
        if (dash != std::string_view::npos && !digits_to_number(part.substr(dash + 1), &last)) {
            *error = quoted(part) + " is not a sector or FIRST-LAST";
            return false;
        }
        if (last < first) {
            *error = quoted(part) + " ends before it begins";
            return false;
        }
        ranges->add(first, last);
    }
    return true;
}

bool value_parse_flips(std::string_view text, std::set<std::pair<uint64_t, unsigned>> *flips,
                       std::string *error) {
    for (const std::string_view part : split_at_commas(text)) {
        uint64_t sector = 0;
        uint64_t bit = 0;
        if (!pair_to_numbers(part, &sector, &bit)) {
            *error = quoted(part) + " is not SECTOR:BIT";
            return false;
        }
        if (bit >= CARD_SECTOR_BITS) {
            *error = quoted(part) + " names a bit outside 0 to 4095";
            return false;
        }
        flips->emplace(sector, static_cast<unsigned>(bit));
    }
    return true;
}

bool value_parse_misreads(std::string_view text, std::map<uint64_t, uint64_t> *misreads,
                          std::string *error) {
    for (const std::string_view part : split_at_commas(text)) {
        uint64_t sector = 0;
        uint64_t other = 0;
        if (!pair_to_numbers(part, &sector, &other)) {
            *error = quoted(part) + " is not SECTOR:OTHER";
            return false;
        }
        if (other > LARGEST_SIZE / CARD_SECTOR_SIZE) {
            *error = quoted(part) + " names a sector that no card has";
            return false;
        }
        (*misreads)[sector] = other;
    }
    return true;
}

// ASCII only, which needs no decoder.
std::string shown_text(std::string_view text) {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string shown;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte >= 0x20 && byte < 0x7F) {
            shown += character;
        } else {
            shown += "\\x";
            shown += digits[byte >> 4U];
            shown += digits[byte & 0xFU];
        }
    }
    return shown;
}

}  // namespace cardsim
