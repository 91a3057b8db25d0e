// The program's diagnostic lines, in the system's log and on standard error. The window never shows
// them.
#ifndef TROVIK_APP_DIAGNOSTIC_LOG_H
#define TROVIK_APP_DIAGNOSTIC_LOG_H

#include <string>

// Writes one entry, with a line break when it has none. Any thread.
void diagnostic_log(const std::string &entry);

#endif
