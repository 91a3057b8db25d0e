// SPDX-License-Identifier: GPL-3.0-or-later
/* The clock and the medium of tests_model_clock take the place of gettimeofday and of the
 * engine's medium_*. Tests set their answers; all requests are recorded. */
#ifndef TROVIK_TESTS_MODEL_STAGED_CLOCK_H
#define TROVIK_TESTS_MODEL_STAGED_CLOCK_H

#include <gtest/gtest.h>
#include <sys/time.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <string>

namespace model_tests {

struct staged {
    /* One letter for each request, in order: F flush, R release, A read-ahead,
     * C clock. */
    std::string requests;

    /* Called at every request, if set, after it was recorded. */
    std::function<void()> at_request;

    /* The clock's next times. */
    std::deque<timeval> times;

    /* After those, the clock advances by `step_us` at each request. */
    timeval last = {1000, 0};
    int64_t step_us = 0;

    /* The clock fails at its n-th request from now (1: the next). */
    int clock_fails_at = 0;

    /* The medium's answers: 0 or an error number. */
    int flush_answer = 0;
    int release_answer = 0;
    int read_ahead_answer = 0;
};

extern staged stage;

/* Number of requests with this letter. */
size_t requests_of(char letter);

/* A test with a fresh stage and an empty log. */
class staged_test : public testing::Test {
 protected:
    void SetUp() override;
};

}  // namespace model_tests

#endif
