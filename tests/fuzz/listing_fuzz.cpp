// SPDX-License-Identifier: GPL-3.0-or-later
// The listing of a real folder. A case is text: the first index in decimal, then one entry per
// line, its type (f file, d folder, l symlink, p FIFO) followed by its name.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "../support/folder.h"
#include "fuzz.h"
#include "model/utils.h"
#include "test_file_model.h"

static bool make_entry(char kind, const std::string &path) {
    switch (kind) {
        case 'd':
            return mkdir(path.c_str(), 0700) == 0;
        case 'l':
            return symlink("/nowhere", path.c_str()) == 0;
        case 'p':
            return mkfifo(path.c_str(), 0600) == 0;
        default: {
            const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
            return fd >= 0 && close(fd) == 0;
        }
    }
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    constexpr int entries_max = 200;
    fuzz_input input(data, size);
    const auto start_at =
        static_cast<int32_t>(std::strtoll(input.text_until('\n').c_str(), nullptr, 10));
    const test_support::private_folder folder;
    std::vector<int32_t> expected;
    for (int i = 0; i < entries_max && !input.empty(); ++i) {
        const char kind = static_cast<char>(input.byte());
        const std::string line = input.text_until('\n');
        const std::string name(line.c_str());  // ends at a NUL
        // Entries that cannot be created (empty, too long, with a slash, twice) are left out.
        if (name.find('/') != std::string::npos || !make_entry(kind, folder.path() + "/" + name))
            continue;
        if (name_model_is_test_file(name) && name_model_number(name) > start_at)
            expected.push_back(name_model_number(name) - 1);
    }
    std::sort(expected.begin(), expected.end());
    expected.push_back(-1);
    int *const list = ls_my_files(folder.path().c_str(), start_at);
    FUZZ_REQUIRE(std::equal(expected.begin(), expected.end(), list));
    std::free(list);
    return 0;
}
