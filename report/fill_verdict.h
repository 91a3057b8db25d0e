// What a run that only filled the volume can say: not whether the data is
// intact, which only reading it back shows, but whether there is now something
// to read back that covers the volume.
#ifndef TROVIK_REPORT_FILL_VERDICT_H
#define TROVIK_REPORT_FILL_VERDICT_H

#include <string>
#include <vector>

#include "report/run_snapshot.h"

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
