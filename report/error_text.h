// The system's words for an error number.
#ifndef TROVIK_REPORT_ERROR_TEXT_H
#define TROVIK_REPORT_ERROR_TEXT_H

#include <string>

// "Input/output error" for EIO. Any thread.
std::string error_text(int error_number);

#endif
