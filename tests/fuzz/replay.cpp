// SPDX-License-Identifier: GPL-3.0-or-later
// Runs a fuzz target once on each file of a corpus, in the order of their names. A missing or empty
// corpus is a failure.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz.h"

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s CORPUS\n", argv[0]);
        return 64;
    }
    std::vector<std::filesystem::path> files;
    std::error_code error;
    for (std::filesystem::directory_iterator at(argv[1], error), end; !error && at != end;
         at.increment(error))
        files.push_back(at->path());
    if (error || files.empty()) {
        std::fprintf(stderr, "%s: no corpus: %s\n", argv[1], error.message().c_str());
        return 1;
    }
    std::sort(files.begin(), files.end());
    for (const std::filesystem::path &file : files) {
        std::ifstream stream(file, std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
        if (!stream) {
            std::fprintf(stderr, "%s: cannot be read\n", file.c_str());
            return 1;
        }
        // When the target ends the process, the last name shown is that of the failing case.
        std::fprintf(stderr, "%s\n", file.filename().c_str());
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
    }
    std::printf("%zu cases\n", files.size());
    return 0;
}
