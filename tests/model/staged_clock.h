/* The clock and the medium of the program tests_model_clock: both do what a
 * test has written down, and note that they were asked. They take the place of
 * gettimeofday and of the engine's own medium_*. */
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

    /* Called at every request, when set, with all requests so far noted. */
    std::function<void()> at_request;

    /* Times that the clock gives next. */
    std::deque<timeval> times;

    /* Once they are used up: the last one, `step_us` later each time. */
    timeval last = {1000, 0};
    int64_t step_us = 0;

    /* The clock fails at its n-th request from now (1 is the next one). */
    int clock_fails_at = 0;

    /* What the medium answers: 0 or an error number. */
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
