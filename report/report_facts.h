// What the report block states about a finished test.
//
// The values are the engine's own, taken as it left them; no judgement is added
// here (verdict.h judges). After a run that did not get as far as the end of its
// read phase they are those of the run before, or empty.
#ifndef TROVIK_REPORT_REPORT_FACTS_H
#define TROVIK_REPORT_REPORT_FACTS_H

#include <cstdint>
#include <string>

struct report_facts {
    bool intact = false;
    std::string volume_path;  // shown byte for byte: see printable.h for terminals
    std::uint64_t capacity_bytes = 0;
    double write_speed = 0.0;  // in write_speed_unit per second
    std::string write_speed_unit;
    double read_speed = 0.0;  // in read_speed_unit per second
    std::string read_speed_unit;
    std::string data_ok;  // the five texts as the engine publishes them, "1.500000 GB"
    std::string data_lost;
    std::string data_corrupted;
    std::string data_changed;
    std::string data_overwritten;
    std::string version;
};

// Collects the facts from the engine's status values; volume, capacity and
// version are the shell's to know. To be called when the engine rests: after its
// thread has ended, or has published that the result is there. Any thread.
report_facts report_facts_collect(std::string volume_path, std::uint64_t capacity_bytes,
                                  std::string version);

// Units of 2^30 bytes, which the report calls GB.
double report_facts_capacity_gb(const report_facts &facts);

#endif
