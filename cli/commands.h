// SPDX-License-Identifier: GPL-3.0-or-later
// The commands, from their arguments to the exit status.
#ifndef TROVIK_CLI_COMMANDS_H
#define TROVIK_CLI_COMMANDS_H

#include <string>

#include "cli/arguments.h"
#include "cli/json_output.h"
#include "runner/run_guard.h"

// What the guard has to know of a command's arguments.
run_request cli_run_request(const cli_arguments &arguments);

// Said, with EXIT_STATUS_NO_THREAD, when a run has no thread to run on.
constexpr char cli_no_thread_text[] =
    "the run could not be started: the system has no thread to spare";

// Runs test, write, read or clean on the volume that `guard` has taken. Prints the engine's lines,
// the report and the verdict, and writes the JSON report if one is wanted. Returns the exit status.
// A signal or a fatal engine error ends the process in here. Once per process, after
// stop_signals_begin().
int run_command(const cli_arguments &arguments, const run_guard &guard, json_output &json);

// Prints the properties of the volume that `path` lies on, or, when it is empty, all mounted
// volumes that can be tested. Returns the exit status.
int info_run(const std::string &path);

#endif
