// SPDX-License-Identifier: GPL-3.0-or-later
// Numbers of test files: digits of any length to a number, and an index to a path and back.
#include <algorithm>
#include <string>

#include "fuzz.h"
#include "model/utils.h"
#include "test_file_model.h"

static void check_digits(fuzz_input input) {
    std::string name;
    while (!input.empty())
        name += static_cast<char>('0' + input.byte() % 10);
    if (name.empty())
        return;
    name += ".fff";
    FUZZ_REQUIRE(is_my_file(name.c_str()) == 1);
    FUZZ_REQUIRE(number_from_filename(name.c_str()) == name_model_number(name));
}

static void check_path(fuzz_input input) {
    const int32_t index = input.number32();
    std::string folder = input.text_until('\0');
    folder.resize(std::min<size_t>(folder.size(), ENGINE_PATH_MAX - sizeof "/-2147483648.fff"));
    char full[ENGINE_PATH_MAX];
    const char *name = nullptr;
    full_fn_from_number(full, &name, folder.c_str(), index);
    const int64_t number = index == INT32_MAX ? INT32_MIN : int64_t{index} + 1;
    FUZZ_REQUIRE(full == folder + "/" + std::to_string(number) + ".fff");
    FUZZ_REQUIRE(name == full + folder.size() + 1);
    FUZZ_REQUIRE(is_my_file(name) == (number >= 0 ? 1 : 0));
    if (number >= 0)
        FUZZ_REQUIRE(number_from_filename(name) == number);
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const fuzz_input input(data, size);
    check_digits(input);
    check_path(input);
    return 0;
}
