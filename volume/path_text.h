// Paths in messages. Guarantees one line whatever bytes a path holds.
#pragma once

#include <string>

// The path with control characters and backslashes as octal escapes; other bytes stay.
std::string path_text_printable(const std::string &path);

// The last name of an absolute path without a slash at its end; "/" for "/".
std::string path_text_last_name(const std::string &path);

// "PATH: WHAT: the system's reason for error_number".
std::string path_text_error(const std::string &path, const std::string &what, int error_number);
