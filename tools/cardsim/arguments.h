// SPDX-License-Identifier: GPL-3.0-or-later
/* The command line. Parses and checks arguments without touching the system; the mount point
 * and the backing file are checked where they are used. */
#ifndef TROVIK_TOOLS_CARDSIM_ARGUMENTS_H
#define TROVIK_TOOLS_CARDSIM_ARGUMENTS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/cardsim/card.h"
#include "tools/cardsim/card_life.h"
#include "tools/cardsim/throttle.h"

namespace cardsim {

struct card_options {
    std::string mount_point;
    uint64_t announced_sectors = 0;  // shown by statfs
    uint64_t usable_sectors = 0;     // allocated before the card is full
    card_traits device;
    life_traits life;
    throttle_traits speed;
    std::string backing;   // empty: the card lives in memory
    bool image = false;    // one file with the card's sectors instead of a folder for files
    std::string contents;  // of an image: the file that it starts as a copy of; empty: zeros
    bool read_only = false;
    std::optional<uint64_t> statfs_free;   // bytes
    std::optional<uint64_t> root_entries;  // the most in the root folder
    bool statfs_fails = false;
    bool fsync_fails = false;
    bool foreground = false;
};

enum class arguments_verdict {
    run,
    help,   // --help was given
    wrong,  // *error names the option and the reason in one line
};

/* words: the arguments without the program's name. *options is complete only with
 * the verdict run. */
arguments_verdict arguments_parse(const std::vector<std::string> &words, card_options *options,
                                  std::string *error);

/* What --help prints; lines fit into 80 columns. */
std::string_view help_text();

/* All options ("--size" ...), for the test that compares them with the help. */
std::vector<std::string> arguments_known();

}  // namespace cardsim

#endif
