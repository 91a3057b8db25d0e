// SPDX-License-Identifier: GPL-3.0-or-later
/* Parses option values: sizes, numbers, lists of sectors. Each function accepts the whole
 * text or returns false with the reason in error, to be printed behind the option's name. */
#ifndef TROVIK_TOOLS_CARDSIM_VALUE_TEXT_H
#define TROVIK_TOOLS_CARDSIM_VALUE_TEXT_H

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "tools/cardsim/sector_ranges.h"

namespace cardsim {

/* Escapes every byte that is not printable ASCII as "\xNN": a path can contain escape
 * sequences for the terminal. */
std::string shown_text(std::string_view text);

/* Bytes, or with the suffix K, M, G or T in powers of 1024. */
bool value_parse_size(std::string_view text, uint64_t *bytes, std::string *error);

/* A whole number without sign, in decimal digits. */
bool value_parse_number(std::string_view text, uint64_t *number, std::string *error);

/* A decimal fraction such as 0.25 between lowest and highest. */
bool value_parse_fraction(std::string_view text, double lowest, double highest, double *value,
                          std::string *error);

/* FIRST[-LAST][,...]: adds to the ranges. */
bool value_parse_ranges(std::string_view text, sector_ranges *ranges, std::string *error);

/* SECTOR:BIT[,...]: adds to the set. */
bool value_parse_flips(std::string_view text, std::set<std::pair<uint64_t, unsigned>> *flips,
                       std::string *error);

/* SECTOR:OTHER[,...]: adds to the map. */
bool value_parse_misreads(std::string_view text, std::map<uint64_t, uint64_t> *misreads,
                          std::string *error);

}  // namespace cardsim

#endif
