/* What --help prints. */
#ifndef TROVIK_TOOLS_CARDSIM_HELP_TEXT_H
#define TROVIK_TOOLS_CARDSIM_HELP_TEXT_H

#include <string_view>

namespace cardsim {

/* The whole help, ready to be printed; lines fit into 80 columns. */
std::string_view help_text();

}  // namespace cardsim

#endif
