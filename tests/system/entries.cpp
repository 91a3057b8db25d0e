#include "entries.h"

#include <algorithm>

namespace system_tests {

bool looks_like_test_file(const std::string &name) {
    const size_t digits = std::min(name.find_first_not_of("0123456789"), name.size());
    return digits > 0 && name.substr(digits) == ".fff";
}

bool is_test_file(const std::filesystem::path &path, const std::string &root) {
    return path.parent_path() == root && looks_like_test_file(path.filename()) &&
           path.filename().string()[0] != '0';
}

}  // namespace system_tests
