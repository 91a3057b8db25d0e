/* One query for both who ask: the write phase for its volume, the display for
 * the chosen one. */
#include "model/free_space.h"

#include <sys/statvfs.h>

int free_space_query(const char *path, uint64_t *bytes) {
    struct statvfs statistics = {};
    *bytes = 0;
    if (path == nullptr || statvfs(path, &statistics) != 0)
        return 0;
    *bytes = static_cast<uint64_t>(statistics.f_bfree) * statistics.f_frsize;
    return 1;
}
