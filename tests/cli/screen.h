// SPDX-License-Identifier: GPL-3.0-or-later
// A terminal that understands only the codes that the command line may send.
#ifndef TROVIK_TESTS_CLI_SCREEN_H
#define TROVIK_TESTS_CLI_SCREEN_H

#include <string>
#include <vector>

namespace cli_tests {

struct screen {
    // All lines since the start, those that scrolled away included, without
    // trailing blanks.
    std::vector<std::string> lines;
    // Whether it was sent an unknown code.
    bool understood = true;

    // Number of lines that are exactly this one.
    size_t count(const std::string &line) const;
    // The lines, joined.
    std::string text() const;
};

// Line breaks, carriage return and "erase to the end of the line" are
// interpreted; a line longer than `columns` goes on in the next one.
screen screen_after(const std::string &sent, unsigned columns);

}  // namespace cli_tests

#endif
