/* The C library keeps the name since the start of the process. */
#include <cerrno>

#include "model/program_name.h"

const char *program_name(void) {
    return program_invocation_short_name;
}
