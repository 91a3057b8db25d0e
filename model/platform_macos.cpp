// SPDX-License-Identifier: GPL-3.0-or-later
/* The C library keeps the program's name. The system is asked about the processor: macOS
 * saves the widest registers only for threads that use them, so cpuid would mislead. */
#include "model/platform.h"

#include <sys/sysctl.h>

#include <cstddef>
#include <cstdlib>

const char *program_name(void) {
    return getprogname();
}

/* A name that sysctl does not know is a feature that the processor lacks. */
static bool has(const char *name) {
    int value = 0;
    size_t size = sizeof value;
    return sysctlbyname(name, &value, &size, nullptr, 0) == 0 && value != 0;
}

bool processor_has_avx2() {
    return has("hw.optional.avx2_0");
}

bool processor_has_avx512() {
    return has("hw.optional.avx512f") && has("hw.optional.avx512dq") &&
           has("hw.optional.avx512bw") && has("hw.optional.avx512vl");
}

bool processor_has_avx512_ifma() {
    return has("hw.optional.avx512ifma");
}
