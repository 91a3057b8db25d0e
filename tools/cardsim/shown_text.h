/* Text that a terminal may be shown: a path can hold what would reprogram it. */
#ifndef TROVIK_TOOLS_CARDSIM_SHOWN_TEXT_H
#define TROVIK_TOOLS_CARDSIM_SHOWN_TEXT_H

#include <string>
#include <string_view>

namespace cardsim {

/* The text with every byte that is not printable ASCII as "\xNN". */
std::string shown_text(std::string_view text);

}  // namespace cardsim

#endif
