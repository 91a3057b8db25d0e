// The one place that judges a run. The command line takes its exit status from
// here, the window its words.
//
// A run is intact only when nothing speaks against it: something was tested, all
// of it was read, all of it was as written, and a run that filled the volume left
// no good part of it untested. Everything that speaks against it is listed, so a
// verdict other than intact never comes without a reason and intact never with
// one. The engine's own flag is not enough: it says nothing of what could not be
// read or is not there.
#ifndef TROVIK_REPORT_VERDICT_H
#define TROVIK_REPORT_VERDICT_H

#include <string>
#include <vector>

#include "report/run_snapshot.h"

enum class run_verdict {
    intact,
    data_lost,       // data did not come back as it was written
    incomplete,      // what could be read is intact, but not everything could
    nothing_tested,  // not one sector was read
    unproven,        // intact as far as was seen, but perhaps only in the computer's memory
};

struct verdict_result {
    run_verdict verdict = run_verdict::nothing_tested;
    // Why it is not intact, one line each without line break, the most important
    // one first. Empty when it is.
    std::vector<std::string> reasons;
    // What is worth knowing beside it and does not count against the volume.
    std::vector<std::string> notes;
};

// Judges a finished run, or one that ended early: what it had not reached by then
// is a reason. Where several verdicts hold it is the first of data_lost,
// nothing_tested, incomplete, unproven. Any thread, as all functions below.
verdict_result verdict_judge(const run_snapshot &run);

// "intact", "data_lost", "incomplete", "nothing_tested", "unproven": for programs, never to
// change.
const char *verdict_word(run_verdict verdict);

// One sentence for people.
const char *verdict_sentence(run_verdict verdict);

// Status of a process that reports this verdict: 0 intact, 65 data lost, 75
// unproven, 74 otherwise.
int verdict_exit_status(run_verdict verdict);

// The result of a run that only filled the volume. It says whether there is now something to
// read back that covers the volume; only reading it back shows whether the data is intact.
struct fill_verdict {
    bool filled = false;               // as full as it gets, and nothing speaks against it
    std::string sentence;              // one sentence for people
    std::vector<std::string> reasons;  // why it is not filled, one line each
    std::vector<std::string> notes;    // what is worth knowing beside it
};

// Judges a run whose scope has a write phase and no read phase. Any thread.
fill_verdict fill_verdict_judge(const run_snapshot &run);

// Status of a process that reports this verdict: 0 when filled, else 74.
int fill_verdict_exit_status(const fill_verdict &verdict);

#endif
