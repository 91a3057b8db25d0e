// Divides by 1024 while the value is at least 1024, at most seven times: the
// eighth unit is an empty slot that no 64-bit byte count reaches.
#include "report/size_text.h"

#include <array>

#include "report/number_text.h"

std::string size_text_from_value(double bytes) {
    static constexpr std::array<const char *, 8> units = {"Byte", "KB", "MB", "GB",
                                                          "TB",   "PB", "EB", ""};
    std::size_t index = 0;
    while (bytes >= 1024.0 && index + 1 < units.size()) {
        bytes *= 0.0009765625;
        ++index;
    }
    return number_text_fixed(bytes, 1) + " " + units.at(index);
}

std::string size_text_from_bytes(std::uint64_t bytes) {
    return size_text_from_value(static_cast<double>(bytes));
}
