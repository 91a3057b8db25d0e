// SPDX-License-Identifier: GPL-3.0-or-later
// The values in the report block of a finished test.
//
// They are copies of the engine's status values, which the next test overwrites, without any
// judgement (see verdict.h). If the run did not finish its read phase, they are those of an earlier
// run, or empty.
#ifndef TROVIK_REPORT_REPORT_FACTS_H
#define TROVIK_REPORT_REPORT_FACTS_H

#include <cstdint>
#include <string>

struct report_facts {
    bool intact = false;
    std::string volume_path;  // unescaped; see printable.h for terminals
    std::uint64_t capacity_bytes = 0;
    double write_speed = 0.0;  // in write_speed_unit per second
    std::string write_speed_unit;
    double read_speed = 0.0;  // in read_speed_unit per second
    std::string read_speed_unit;
    std::string data_ok;  // five texts as the engine publishes them: "1.500000 GB"
    std::string data_lost;
    std::string data_corrupted;
    std::string data_changed;
    std::string data_overwritten;
    std::string version;
};

// Collects the facts from the engine's status values; the shell passes the others. Call it when the
// engine's thread has ended or has published its result. Any thread.
report_facts report_facts_collect(std::string volume_path, std::uint64_t capacity_bytes,
                                  std::string version);

// The capacity in units of 2^30 bytes, which the report calls GB.
double report_facts_capacity_gb(const report_facts &facts);

#endif
