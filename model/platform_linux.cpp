// SPDX-License-Identifier: GPL-3.0-or-later
/* The C library keeps the program's name. The compiler's library asks the processor, and
 * whether the system saves the wide registers. */
#include "model/platform.h"

#include <cerrno>

const char *program_name(void) {
    return program_invocation_short_name;
}

#if defined(__x86_64__)
bool processor_has_avx2() {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") != 0;
}

bool processor_has_avx512() {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512dq") != 0 &&
           __builtin_cpu_supports("avx512bw") != 0 && __builtin_cpu_supports("avx512vl") != 0;
}

bool processor_has_avx512_ifma() {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx512ifma") != 0;
}
#else
bool processor_has_avx2() {
    return false;
}

bool processor_has_avx512() {
    return false;
}

bool processor_has_avx512_ifma() {
    return false;
}
#endif
