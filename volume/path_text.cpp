// Turns a path into text that stays on one line: a mount point may hold a line feed, and a message
// that is cut there would name another path. Octal escapes, because mount tables write them so.
#include "volume/path_text.h"

#include <system_error>

std::string path_text_printable(const std::string &path) {
    std::string text;
    for (const char character : path) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x20 || byte == 0x7F || character == '\\') {
            text += '\\';
            text += static_cast<char>('0' + (byte >> 6));
            text += static_cast<char>('0' + ((byte >> 3) & 7));
            text += static_cast<char>('0' + (byte & 7));
        } else {
            text += character;
        }
    }
    return text;
}

std::string path_text_last_name(const std::string &path) {
    const size_t slash = path.rfind('/');
    return path.size() <= 1 || slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string path_text_error(const std::string &path, const std::string &what, int error_number) {
    return path_text_printable(path) + ": " + what + ": " +
           std::generic_category().message(error_number);
}
