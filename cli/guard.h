// What stands between a typed path and a volume being filled: every reason to
// refuse is found before anything is changed.
#ifndef TROVIK_CLI_GUARD_H
#define TROVIK_CLI_GUARD_H

#include <string>

#include "cli/arguments.h"
#include "report/test_files.h"
#include "volume/volume.h"

// What a run works on.
struct run_target {
    std::string folder;    // where the test files lie: absolute, without links
    volume_info volume;    // the volume that the folder lies on
    test_file_scan files;  // the test files that are there already
};

// Looks at the volume that the arguments name. Returns true with `target` filled
// in, or false with the reason to refuse, in one line that also says what --force
// does about it.
bool guard_check(const cli_arguments &arguments, run_target &target, std::string &refusal);

#endif
