// A message of this room is for any caller, and so is the path in it: its real bytes, as in
// volume_info. Only who shows a text knows what must not be shown.
#include "volume/path_text.h"

#include <system_error>

std::string path_text_last_name(const std::string &path) {
    const size_t slash = path.rfind('/');
    return path.size() <= 1 || slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string path_text_error(const std::string &path, const std::string &what, int error_number) {
    return path + ": " + what + ": " + std::generic_category().message(error_number);
}
