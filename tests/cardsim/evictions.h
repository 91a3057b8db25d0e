/* Files whose contents memory lost although nobody asked for it. */
#ifndef TROVIK_TESTS_CARDSIM_EVICTIONS_H
#define TROVIK_TESTS_CARDSIM_EVICTIONS_H

#include <functional>

/* Whether memory kept what the attempt wrote. The attempt answers that itself and
 * can be repeated: it is, at most twice, when the answer is no and the kernel counted
 * pages meanwhile that it had evicted and that somebody read again. How long memory
 * keeps an unused page is for the kernel alone, and some kernels page out what is cold
 * however much memory is free. The count is the whole machine's, so on a machine that is
 * short of memory a fault that comes and goes has three chances to hide; one that is
 * always there has none. */
bool memory_kept_it(const std::function<bool()> &attempt);

#endif
