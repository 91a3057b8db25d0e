// SPDX-License-Identifier: GPL-3.0-or-later
/* See staged_clock.h. The C library's own declaration of gettimeofday makes its
 * first argument nonnull; the engine never passes a time zone. */
#include "staged_clock.h"

#include <algorithm>
#include <cerrno>

#include "model/medium.h"
#include "support.h"

namespace model_tests {

staged stage;

size_t requests_of(char letter) {
    return static_cast<size_t>(std::count(stage.requests.begin(), stage.requests.end(), letter));
}

void staged_test::SetUp() {
    stage = staged();
    drained_log();
}

static void note(char request) {
    stage.requests += request;
    if (stage.at_request)
        stage.at_request();
}

static timeval next_time() {
    if (!stage.times.empty()) {
        stage.last = stage.times.front();
        stage.times.pop_front();
        return stage.last;
    }
    const int64_t microseconds = stage.last.tv_usec + stage.step_us;
    stage.last.tv_sec += microseconds / 1000000;
    stage.last.tv_usec = microseconds % 1000000;
    return stage.last;
}

}  // namespace model_tests

using model_tests::stage;

extern "C" {
int gettimeofday(struct timeval *now, void * /*zone*/) noexcept {
    model_tests::note('C');
    if (stage.clock_fails_at > 0 && --stage.clock_fails_at == 0) {
        errno = EFAULT;
        return -1;
    }
    *now = model_tests::next_time();
    return 0;
}

int medium_flush(int /*fd*/) {
    model_tests::note('F');
    return stage.flush_answer;
}

int medium_release(int /*fd*/) {
    model_tests::note('R');
    return stage.release_answer;
}

int medium_read_ahead(int /*fd*/) {
    model_tests::note('A');
    return stage.read_ahead_answer;
}

/* Called after an error only. */
int medium_bypass_cache(int /*fd*/) {
    return ENOTSUP;
}
}
