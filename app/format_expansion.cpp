#include "app/format_expansion.h"

#include <string_view>

#include "report/number_text.h"

static bool is_one_of(std::string_view set, char character) {
    return set.find(character) != std::string_view::npos;
}

static size_t skip(std::string_view set, const std::string &format, size_t position) {
    while (position < format.size() && is_one_of(set, format[position]))
        ++position;
    return position;
}

// What a conversion prints for an argument that is not there.
static std::string filled_with_nothing(char conversion, const std::string &precision) {
    if (is_one_of("diouxXDOU", conversion))
        return "0";
    if (is_one_of("aAeEfFgG", conversion)) {
        int decimals = precision.empty() ? 6 : 0;
        for (const char digit : precision)
            decimals = decimals > 9 ? decimals : decimals * 10 + (digit - '0');
        return number_text_fixed(0.0, decimals > 17 ? 17 : decimals);
    }
    if (is_one_of("sS@p", conversion))
        return "(null)";
    if (is_one_of("cCn", conversion))
        return "";
    return {conversion};
}

std::string format_expand_without_arguments(const std::string &format) {
    std::string text;
    for (size_t i = 0; i < format.size(); ++i) {
        if (format[i] != '%') {
            text += format[i];
            continue;
        }
        size_t at = skip("#0- +'", format, i + 1);
        at = skip("0123456789*", format, at);
        std::string precision;
        if (at < format.size() && format[at] == '.') {
            const size_t begin = at + 1;
            at = skip("0123456789", format, begin);
            precision = "0" + format.substr(begin, at - begin);
        }
        at = skip("hlqLjzt", format, at);
        if (at < format.size())
            text += filled_with_nothing(format[at], precision);
        i = at;
    }
    return text;
}
