// Decimal numbers as text, always with a point: a window that has taken over the
// user's locale must not turn the report's "14.837" into "14,837".
#ifndef TROVIK_REPORT_NUMBER_TEXT_H
#define TROVIK_REPORT_NUMBER_TEXT_H

#include <string>

// `value` with `decimals` (0 to 17) digits behind the point, rounded as printf's
// "%.*f" does in the C locale; "inf", "nan" and their negatives when not finite.
// Any thread.
std::string number_text_fixed(double value, int decimals);

#endif
