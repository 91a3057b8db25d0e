// SPDX-License-Identifier: GPL-3.0-or-later
// The command line's words about a run that may not begin or stops early. Each text is one
// printable line without a line break.
#ifndef TROVIK_CLI_RUN_TEXT_H
#define TROVIK_CLI_RUN_TEXT_H

#include <string>

#include "cli/arguments.h"
#include "runner/run_guard.h"

// "'path'"
std::string shown_path(const std::string &path);

// Why the run may not begin, and what --force does about it.
std::string refusal_text(const run_refusal &refusal);

// The test files that stay on the volume, with the command that removes them. Takes a second at
// most. Any thread.
std::string left_files_text(const cli_arguments &arguments, const run_guard &guard);

// For a volume that was unmounted or replaced during the run.
std::string volume_gone_text(const std::string &folder);

#endif
