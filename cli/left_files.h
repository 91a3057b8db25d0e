// The test files that a run leaves on the volume when it ends before its time.
#ifndef TROVIK_CLI_LEFT_FILES_H
#define TROVIK_CLI_LEFT_FILES_H

#include <optional>
#include <string>

// Names the test files in `folder` from `start_index` on, as "1.fff to 3.fff";
// empty when there are none. A volume that does not answer within a second is
// not waited for: what the engine has written in this process is named instead;
// nothing when that cannot tell either. Any thread.
std::optional<std::string> left_files_text(const std::string &folder, int start_index);

#endif
