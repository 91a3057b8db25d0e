// What stands between a typed path and a volume being filled: every reason to
// refuse is found before anything is changed.
#ifndef TROVIK_CLI_GUARD_H
#define TROVIK_CLI_GUARD_H

#include <memory>
#include <string>

#include "cli/arguments.h"
#include "report/test_files.h"
#include "volume/folder_anchor.h"
#include "volume/run_lock.h"
#include "volume/volume.h"

// What a run works on.
struct run_target {
    std::string folder;    // where the test files lie: absolute, without links
    volume_info volume;    // the volume that the folder lies on
    test_file_scan files;  // the test files that are there already
    // Holds on to the folder, from before anything else was learned about it.
    std::unique_ptr<folder_anchor> anchor;
};

// Looks at the volume that the arguments name. Returns true with `target` filled
// in, all but its files, or false with the reason to refuse, in one line that also
// says what --force does about it.
bool guard_check(const cli_arguments &arguments, run_target &target, std::string &refusal);

// Right before a run begins: keeps the target for this run as long as `lock` lives, and finds the
// test files that are there. False with the reason to refuse when another run is at work there,
// when entries have a test file's name that are not ours, or when another volume has taken the
// place of the one that was looked at.
bool guard_begin(const cli_arguments &arguments, run_target &target, run_lock &lock,
                 std::string &refusal);

#endif
