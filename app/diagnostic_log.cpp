#include "app/diagnostic_log.h"

#include <syslog.h>

#include <cstdio>

void diagnostic_log(const std::string &entry) {
    std::string line = entry;
    if (line.empty() || line.back() != '\n')
        line += '\n';
    // One call for the whole line: lines of two threads never mix.
    std::fwrite(line.data(), 1, line.size(), stderr);
    line.pop_back();
    syslog(LOG_USER | LOG_NOTICE, "%s", line.c_str());
}
