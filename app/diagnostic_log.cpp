#include "app/diagnostic_log.h"

#include <syslog.h>

#include <cstdio>

#include "report/printable.h"

void diagnostic_log(const std::string &entry) {
    const bool ended = !entry.empty() && entry.back() == '\n';
    // Volume names may hold control characters, and standard error may be a terminal.
    std::string line = printable_text(entry.substr(0, entry.size() - (ended ? 1 : 0))) + '\n';
    // One call for the whole line, so lines of two threads do not mix.
    std::fwrite(line.data(), 1, line.size(), stderr);
    line.pop_back();
    syslog(LOG_USER | LOG_NOTICE, "%s", line.c_str());
}
