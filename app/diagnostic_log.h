// The program's diagnostic lines: to the system's log, with a copy on standard
// error. They are for whoever looks into a problem, never for the window.
#ifndef TROVIK_APP_DIAGNOSTIC_LOG_H
#define TROVIK_APP_DIAGNOSTIC_LOG_H

#include <string>

// Writes one entry. A line break at its end is the entry's end and is not doubled.
// Any thread.
void diagnostic_log(const std::string &entry);

#endif
