/* The C library keeps the name since the start of the process. */
#include "model/program_name.h"

#include <cstdlib>

const char *program_name(void) {
    return getprogname();
}
