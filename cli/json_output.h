// SPDX-License-Identifier: GPL-3.0-or-later
// The target of the JSON report. It is opened before the test, so that a wrong path is found before
// hours of testing.
#ifndef TROVIK_CLI_JSON_OUTPUT_H
#define TROVIK_CLI_JSON_OUTPUT_H

#include <optional>
#include <string>

#include "volume/volume.h"

class json_output {
 public:
    json_output() = default;
    ~json_output();
    json_output(const json_output &) = delete;
    json_output &operator=(const json_output &) = delete;

    // Opens `target`: a file, "-" for standard output (all other output then goes to standard
    // error), or nothing. False with a reason when it cannot be opened, or when the file would lie
    // on the tested volume.
    bool open(const std::optional<std::string> &target, const volume_info &tested,
              std::string &error);

    bool is_wanted() const { return m_fd >= 0; }

    // Replaces the file's content with the report. False with a reason. Only the first call
    // writes.
    bool write(const std::string &text, std::string &error);

 private:
    int m_fd = -1;
    bool m_own_file = false;  // to be emptied first, unlike standard output
    bool m_written = false;
    std::string m_name;
};

#endif
