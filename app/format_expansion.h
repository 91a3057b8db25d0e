// A text that is used as a printf format without arguments.
#ifndef TROVIK_APP_FORMAT_EXPANSION_H
#define TROVIK_APP_FORMAT_EXPANSION_H

#include <string>

// `format` with "%%" as "%" and every conversion filled with nothing: numbers are
// "0" (with their precision, "0.00" for "%.2f"), texts and objects "(null)". What is
// no conversion loses its percent sign, as does one at the end. Any thread.
std::string format_expand_without_arguments(const std::string &format);

#endif
