// The result is for eyes; the JSON document has the bytes.
#include "report/printable.h"

#include "model/plain_text.h"

std::string printable_text(std::string_view text) {
    std::string result(PLAIN_TEXT_ROOM(text.size()), '\0');
    result.resize(plain_text_escape(text.data(), text.size(), result.data()));
    return result;
}

std::string printable_lines(std::string_view text) {
    std::string shown;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        shown += printable_text(text.substr(0, end));
        if (end == std::string_view::npos)
            break;
        shown += '\n';
        text.remove_prefix(end + 1);
    }
    return shown;
}
