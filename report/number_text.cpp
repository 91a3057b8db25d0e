// std::to_chars is defined by printf's rounding in the C locale, and unlike
// printf it never looks at the locale that is set.
#include "report/number_text.h"

#include <array>
#include <charconv>
#include <limits>

std::string number_text_fixed(double value, int decimals) {
    constexpr std::size_t sign_point_and_decimals = 20;
    std::array<char, std::numeric_limits<double>::max_exponent10 + 1 + sign_point_and_decimals>
        buffer{};
    const std::to_chars_result end = std::to_chars(buffer.data(), buffer.data() + buffer.size(),
                                                   value, std::chars_format::fixed, decimals);
    return std::string(buffer.data(), end.ptr);
}
