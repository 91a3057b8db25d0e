// SPDX-License-Identifier: GPL-3.0-or-later
// A run as a JSON document: the report's values as numbers, and details that the report has no line
// for. docs/report-json.md describes the document. An incompatible change raises its `schema`.
#ifndef TROVIK_REPORT_REPORT_JSON_H
#define TROVIK_REPORT_REPORT_JSON_H

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

#include "report/report_facts.h"
#include "report/run_snapshot.h"
#include "report/verdict.h"
#include "volume/volume_info.h"

// A failure that ended the engine's process.
struct report_json_fatal {
    std::string message;
    int exit_status = -1;  // -1: the process aborted
};

struct report_json_input {
    std::string program;
    std::string version;
    std::string command;
    std::optional<std::time_t> ended_at;
    volume_info volume;  // an empty text or optional is null in the document
    run_snapshot run;
    verdict_result verdict;             // of this run, from verdict_judge
    std::optional<report_facts> facts;  // nullopt when the run ended before its report
    std::optional<report_json_fatal> fatal;
};

// The document as UTF-8 text, indented, ending in a line break. Invalid bytes in a text become
// U+FFFD; paths and names then have a second field "<name>_percent_escaped" with the original
// bytes. Any thread.
std::string report_json_text(const report_json_input &input);

#endif
