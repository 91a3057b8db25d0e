// SPDX-License-Identifier: GPL-3.0-or-later
// The text of the status line: phase, test file, share done, speed, time left. The console draws
// it.
#ifndef TROVIK_CLI_STATUS_LINE_H
#define TROVIK_CLI_STATUS_LINE_H

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>

#include "model/engine_results.h"

// The speed over the last seconds.
class speed_window {
 public:
    using clock = std::chrono::steady_clock;

    // Forgets all samples, for another phase.
    void reset();
    void add(clock::time_point when, std::uint64_t bytes);
    // Bytes per second over the window; nullopt while it spans less than a second.
    std::optional<double> bytes_per_s() const;

 private:
    struct sample {
        clock::time_point when;
        std::uint64_t bytes;
    };
    std::deque<sample> m_samples;
};

struct status_line_input {
    engine_phase phase = ENGINE_PHASE_IDLE;
    int index = 0;                      // of the current test file
    std::uint64_t bytes_done = 0;       // of the phase
    std::uint64_t bytes_expected = 0;   // of the phase; 0 when not known
    std::optional<double> bytes_per_s;  // current speed
};

// "Writing 3.fff    43.2 %    12.3 MB/s    0:01:23 left"; empty when nothing runs.
std::string status_line_text(const status_line_input &input);

#endif
