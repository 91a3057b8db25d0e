// Byte counts as a person reads them: one decimal and a unit of 1024.
//
// The scaling is the engine's, the precision and the list of units are not: the
// engine prints two or six decimals in its own lines, and the two lists may part.
#ifndef TROVIK_REPORT_SIZE_TEXT_H
#define TROVIK_REPORT_SIZE_TEXT_H

#include <cstdint>
#include <string>

// "14.8 GB". The unit stays when rounding alone reaches 1024: 1048575 bytes are
// "1024.0 KB". Negative values and NaN stay in "Byte"; 1024 EB and more have a
// number and a blank but no unit. Any thread.
std::string size_text_from_value(double bytes);
std::string size_text_from_bytes(std::uint64_t bytes);

#endif
