// Where the JSON report goes. It is opened before the test begins: after hours of
// testing is no time to learn that a folder does not exist.
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

    // Opens `target`: a file, "-" for standard output (everything else that the
    // process prints goes to standard error from then on), or nothing. False with
    // a reason when that cannot be, or when the file would lie on the volume that
    // is tested.
    bool open(const std::optional<std::string> &target, const volume_info &tested,
              std::string &error);

    bool is_wanted() const { return m_fd >= 0; }

    // Writes the whole report, in the place of whatever was there. False with a
    // reason. Only the first call writes.
    bool write(const std::string &text, std::string &error);

 private:
    int m_fd = -1;
    bool m_own_file = false;  // ours to empty, unlike a standard output that is appended to
    bool m_written = false;
    std::string m_name;
};

#endif
