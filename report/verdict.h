// SPDX-License-Identifier: GPL-3.0-or-later
// Judges a run, for all shells: the command line takes its exit status from here, the window
// its texts.
//
// A run is intact when at least one sector was tested, everything was read and came back as
// written, and a run that filled the volume left less than 1 % of its free space untested. A
// verdict other than intact comes with at least one reason, intact with none. The engine's own
// flag is not enough: it ignores unreadable and missing files. All functions: any thread.
#ifndef TROVIK_REPORT_VERDICT_H
#define TROVIK_REPORT_VERDICT_H

#include <string>
#include <vector>

#include "report/run_snapshot.h"

enum class run_verdict {
    intact,
    data_lost,       // data did not come back as it was written
    incomplete,      // all data that was read is intact, but not everything was read
    nothing_tested,  // no sector was read
    unproven,        // intact, but the data may have come from the computer's memory
};

struct verdict_result {
    run_verdict verdict = run_verdict::nothing_tested;
    std::vector<std::string> reasons;  // one line each without line break, most important first
    std::vector<std::string> notes;    // remarks that do not count against the volume
};

// Judges a run that has ended; an early end is a reason. When several verdicts apply, the result
// is the first of data_lost, nothing_tested, incomplete, unproven.
verdict_result verdict_judge(const run_snapshot &run);

// "intact", "data_lost", "incomplete", "nothing_tested", "unproven". Programs read these words:
// they must never change.
const char *verdict_word(run_verdict verdict);

// One sentence for people.
const char *verdict_sentence(run_verdict verdict);

// Status of a process that reports this verdict: 0 intact, 65 data lost, 75
// unproven, 74 otherwise.
int verdict_exit_status(run_verdict verdict);

// The result of a run that only filled the volume. It says whether there is now something to
// read back that covers the volume; only reading it back shows whether the data is intact.
struct fill_verdict {
    bool filled = false;               // no reason against it
    std::string sentence;              // one sentence for people
    std::vector<std::string> reasons;  // one line each without line break
    std::vector<std::string> notes;    // remarks that do not count against the volume
};

// Judges a run with a write phase and no read phase.
fill_verdict fill_verdict_judge(const run_snapshot &run);

// Status of a process that reports this verdict: 0 when filled, else 74.
int fill_verdict_exit_status(const fill_verdict &verdict);

#endif
