/* ASCII alone: what reads these lines are scripts and programmers, and it takes no decoder. */
#include "tools/cardsim/shown_text.h"

namespace cardsim {

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
