// The library's error category gives the system's text without strerror's shared
// buffer.
#include "report/error_text.h"

#include <system_error>

std::string error_text(int error_number) {
    return std::generic_category().message(error_number);
}
