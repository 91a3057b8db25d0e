// SPDX-License-Identifier: GPL-3.0-or-later
#include "screen.h"

#include <algorithm>

namespace cli_tests {

size_t screen::count(const std::string &line) const {
    return static_cast<size_t>(std::count(lines.begin(), lines.end(), line));
}

std::string screen::text() const {
    std::string joined;
    for (const std::string &line : lines)
        joined += line + "\n";
    return joined;
}

screen screen_after(const std::string &sent, unsigned columns) {
    static const std::string erase_to_end = "\x1b[K";
    screen shown;
    shown.lines.emplace_back();
    size_t column = 0;
    for (size_t i = 0; i < sent.size(); ++i) {
        const char character = sent[i];
        if (character == '\r') {
            column = 0;
        } else if (character == '\n') {
            shown.lines.emplace_back();
        } else if (sent.compare(i, erase_to_end.size(), erase_to_end) == 0) {
            shown.lines.back().resize(std::min(column, shown.lines.back().size()));
            i += erase_to_end.size() - 1;
        } else if (static_cast<unsigned char>(character) < ' ') {
            shown.understood = false;
        } else {
            if (column == columns) {
                shown.lines.emplace_back();
                column = 0;
            }
            std::string &line = shown.lines.back();
            line.resize(std::max(line.size(), column + 1), ' ');
            line[column++] = character;
        }
    }
    for (std::string &line : shown.lines)
        line.erase(line.find_last_not_of(' ') + 1);
    if (shown.lines.back().empty())
        shown.lines.pop_back();
    return shown;
}

}  // namespace cli_tests
