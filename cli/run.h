// One run of a command that works on a volume, from its first phase to its exit
// status.
#ifndef TROVIK_CLI_RUN_H
#define TROVIK_CLI_RUN_H

#include "cli/arguments.h"
#include "cli/guard.h"
#include "cli/json_output.h"

// Runs test, write, read or clean on a target that has passed the guard. Prints
// what the engine has to say, the report and the verdict, and writes the JSON
// report where one is wanted. Returns the exit status; a signal or a failure
// that ends the engine's process ends it from in here. At most one run at a time,
// after stop_signals_begin().
int run_command(const cli_arguments &arguments, const run_target &target, json_output &json);

#endif
