// Paths in messages.
#pragma once

#include <string>

// "PATH: WHAT: the system's reason for error_number", the path with its real bytes.
std::string path_text_error(const std::string &path, const std::string &what, int error_number);
