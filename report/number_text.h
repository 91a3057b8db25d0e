// SPDX-License-Identifier: GPL-3.0-or-later
// Numbers and byte counts as text, always with a decimal point: a window that runs in the
// user's locale must not turn the report's "14.837" into "14,837". All functions: any thread.
#ifndef TROVIK_REPORT_NUMBER_TEXT_H
#define TROVIK_REPORT_NUMBER_TEXT_H

#include <cstdint>
#include <string>

// `value` with `decimals` (0 to 17) digits behind the point, rounded as printf's "%.*f" does
// in the C locale: exact ties go to even. "inf", "nan" and their negatives when not finite.
std::string number_text_fixed(double value, int decimals);

// A byte count as people read it, one decimal and a unit of 1024: "14.8 GB". Rounding does
// not change the unit: 1048575 bytes are "1024.0 KB". Negative values and NaN stay in "Byte";
// 1024 EB and more have a number and a blank but no unit.
//
// The engine scales its own lines the same way, with other decimals and its own list of units.
std::string size_text_from_value(double bytes);
std::string size_text_from_bytes(std::uint64_t bytes);

#endif
