/* Lines of the write phase must be whole, for they name files; lines of the read
 * phase may be cut, for they only count. */
#include "model/log_line.h"

#include <cstdarg>
#include <cstdio>

#include "model/c_numbers.h"
#include "model/engine_log.h"
#include "model/fatal.h"

int log_line_whole(const char *format, ...) {
    char line[LOG_LINE_SIZE];
    const c_numbers with_points;
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    ENGINE_REQUIRE(length >= 0 && length < LOG_LINE_SIZE, "model/log_line");
    engine_log_append(line);
    return length;
}

void log_line_cut(const char *format, ...) {
    char line[LOG_LINE_SIZE];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    engine_log_append(line);
}
