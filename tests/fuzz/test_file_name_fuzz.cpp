// SPDX-License-Identifier: GPL-3.0-or-later
// The check of a test file's name, with any text.
#include <string>

#include "fuzz.h"
#include "model/utils.h"
#include "test_file_model.h"

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string name = fuzz_input(data, size).text_until('\0');
    const bool is_test_file = name_model_is_test_file(name);
    FUZZ_REQUIRE(is_my_file(name.c_str()) == (is_test_file ? 1 : 0));
    if (is_test_file)
        FUZZ_REQUIRE(number_from_filename(name.c_str()) == name_model_number(name));
    return 0;
}
