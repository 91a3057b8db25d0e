// As the system accounts it: where it samples (Linux with its usual settings), exact to some
// milliseconds only.
#include <sys/resource.h>

#include "user_time.h"

double user_seconds() {
    struct rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec) / 1e6;
}
