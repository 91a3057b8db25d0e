/* The system itself is asked. It keeps the widest registers only for threads that use
 * them, so what the processor says of them is no answer there. */
#include "model/processor.h"

#include <sys/sysctl.h>

#include <cstddef>

/* A name that the system does not know is a thing that the processor does not have. */
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
