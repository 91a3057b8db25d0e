// Paths in messages.
#pragma once

#include <string>

// The last name of an absolute path without a slash at its end; "/" for "/".
std::string path_text_last_name(const std::string &path);

// "PATH: WHAT: the system's reason for error_number", the path with its real bytes.
std::string path_text_error(const std::string &path, const std::string &what, int error_number);
