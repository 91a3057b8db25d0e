// SPDX-License-Identifier: GPL-3.0-or-later
// The start argument: any text, with and without the correct prefix.
#include <climits>
#include <string>

#include "fuzz.h"
#include "model/utils.h"

// The decimal integer at the start of the text, limited to the largest long; any negative one is
// -1.
static long leading_number(const std::string &text) {
    size_t at = text.find_first_not_of(" \t\n\v\f\r");
    if (at == std::string::npos)
        return 0;
    const bool negative = text[at] == '-';
    if (negative || text[at] == '+')
        ++at;
    __extension__ __int128 value = 0;
    for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at)
        value = value > LONG_MAX ? value : value * 10 + (text[at] - '0');
    if (negative)
        return value > 0 ? -1 : 0;
    return value > LONG_MAX ? LONG_MAX : static_cast<long>(value);
}

static void check(const std::string &argument) {
    int expected = -1;
    if (argument.starts_with("--start-at=")) {
        const long number = leading_number(argument.substr(11));
        if (number > 0 && number < LONG_MAX)
            expected = static_cast<int>(static_cast<uint32_t>(number - 1));
    }
    FUZZ_REQUIRE(parse_start_at(argument.c_str()) == expected);
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string text = fuzz_input(data, size).text_until('\0');
    check(text);
    check("--start-at=" + text);
    return 0;
}
