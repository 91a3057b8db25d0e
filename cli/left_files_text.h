// SPDX-License-Identifier: GPL-3.0-or-later
// The last words of a run that stops early: the test files that stay, and how to remove them.
#ifndef TROVIK_CLI_LEFT_FILES_TEXT_H
#define TROVIK_CLI_LEFT_FILES_TEXT_H

#include <string>

#include "cli/arguments.h"
#include "runner/run_guard.h"

// One printable line without a line break. Takes a second at most. Any thread.
std::string left_files_text(const cli_arguments &arguments, const run_guard &guard);

// The same for a run whose volume was unmounted or replaced.
std::string volume_gone_text(const std::string &folder);

#endif
