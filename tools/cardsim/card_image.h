// SPDX-License-Identifier: GPL-3.0-or-later
/* The card as one file instead of a folder for files. */
#ifndef TROVIK_TOOLS_CARDSIM_CARD_IMAGE_H
#define TROVIK_TOOLS_CARDSIM_CARD_IMAGE_H

#include <string>

#include "tools/cardsim/arguments.h"
#include "tools/cardsim/file_tree.h"

namespace cardsim {

constexpr const char *CARD_IMAGE_NAME = "card.img";

/* Creates the tree's only file, of the announced size, with all sectors in order, and copies
 * options.contents, if given, to the card. The tree must be empty and use this room. Returns
 * false with a one-line reason in error if the card is too small or the contents cannot be
 * read. */
bool card_image_add(card_room &room, file_tree &tree, const card_options &options,
                    std::string *error);

}  // namespace cardsim

#endif
