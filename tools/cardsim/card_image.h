/* The card as one file instead of a folder for files. */
#ifndef TROVIK_TOOLS_CARDSIM_CARD_IMAGE_H
#define TROVIK_TOOLS_CARDSIM_CARD_IMAGE_H

#include <string>

#include "tools/cardsim/arguments.h"
#include "tools/cardsim/file_tree.h"

namespace cardsim {

constexpr const char *CARD_IMAGE_NAME = "card.img";

/* Gives the tree its only file, of the announced size, with all sectors in order, and
 * the card its first contents where options name some. The tree must be empty and
 * lie on this room. Returns false with a one-line reason in error where the card has no
 * room for that size, or what it is to hold cannot be read. */
bool card_image_add(card_room &room, file_tree &tree, const card_options &options,
                    std::string *error);

}  // namespace cardsim

#endif
