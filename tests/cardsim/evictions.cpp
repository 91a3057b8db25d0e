/* The kernel's own count of evicted pages that came back. */
#include "evictions.h"

#include <chrono>
#include <cstdint>
#include <fstream>
#include <string>
#include <thread>

namespace {

constexpr int MOST_ATTEMPTS = 3;

// Each processor counts for itself; the sums are brought up to date once a second.
constexpr std::chrono::milliseconds UNTIL_COUNTED{2500};

/* Pages of files that were read again after an eviction, since the machine was
 * started; 0 where the kernel does not tell. */
uint64_t refaults() {
    std::ifstream counters("/proc/vmstat");
    std::string name;
    uint64_t count = 0;
    while (counters >> name >> count) {
        if (name == "workingset_refault_file") {
            return count;
        }
    }
    return 0;
}

}  // namespace

bool memory_kept_it(const std::function<bool()> &attempt) {
    for (int attempts = 0; attempts < MOST_ATTEMPTS; ++attempts) {
        const uint64_t before = refaults();
        if (attempt()) {
            return true;
        }
        std::this_thread::sleep_for(UNTIL_COUNTED);
        if (refaults() == before) {
            return false;
        }
    }
    return false;
}
