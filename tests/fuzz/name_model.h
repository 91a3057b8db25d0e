// The definition of a test file's name, computed in another way than in the engine.
#ifndef TROVIK_TESTS_FUZZ_NAME_MODEL_H
#define TROVIK_TESTS_FUZZ_NAME_MODEL_H

#include <cstdint>
#include <string>

// One or more digits, then ".fff".
inline bool name_model_is_test_file(const std::string &name) {
    const std::string suffix = ".fff";
    return name.size() > suffix.size() && name.ends_with(suffix) &&
           name.find_first_not_of("0123456789") == name.size() - suffix.size();
}

// The low 32 bits of the number before the suffix, added up from the last digit.
inline int32_t name_model_number(const std::string &name) {
    uint32_t number = 0;
    uint32_t weight = 1;
    for (size_t i = name.size() - 4; i > 0; --i, weight *= 10)
        number += weight * static_cast<uint32_t>(name[i - 1] - '0');
    return static_cast<int32_t>(number);
}

#endif
