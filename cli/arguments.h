// SPDX-License-Identifier: GPL-3.0-or-later
// The command line's arguments, checked and turned into values.
#ifndef TROVIK_CLI_ARGUMENTS_H
#define TROVIK_CLI_ARGUMENTS_H

#include <cstdint>
#include <optional>
#include <string>

#include "model/f3write.h"

// Exit statuses; the numbers are those of sysexits.h where it has a name for the case. Those of a
// verdict come from verdict_exit_status(). A failure that ends the engine's process keeps the
// engine's own status.
enum exit_status : int {
    EXIT_STATUS_INTACT = 0,       // everything was tested and everything was intact
    EXIT_STATUS_USAGE = 64,       // EX_USAGE: wrong arguments
    EXIT_STATUS_DATA_LOST = 65,   // EX_DATAERR: data was not read back as written
    EXIT_STATUS_NO_THREAD = 71,   // EX_OSERR: the system has no thread to spare
    EXIT_STATUS_NOT_TESTED = 74,  // EX_IOERR: not everything could be tested
    EXIT_STATUS_UNPROVEN = 75,    // EX_TEMPFAIL: intact, but perhaps read from memory
    EXIT_STATUS_REFUSED = 77,     // EX_NOPERM: not begun, nothing was changed
};

enum class cli_command { test, write, read, clean, info };

struct cli_arguments {
    cli_command command = cli_command::info;
    std::string volume;                            // as typed; empty only for info
    int start_index = 0;                           // index of the first test file
    std::int32_t block_size = F3WRITE_BLOCK_SIZE;  // bytes per write call
    bool keep_files = false;                       // leave the test files on the volume
    bool force = false;                            // override what can be overridden
    bool medium_is_memory = false;    // take the file system's word that it keeps no other copy
    std::optional<std::string> json;  // file for the JSON report, "-" for standard output
};

// The command as it is typed.
const char *cli_command_name(cli_command command);

// Reads the arguments. Returns true with `arguments` filled in, or false with the exit status after
// printing help, the version, or one line that names the mistake.
bool cli_parse_arguments(int argc, const char *const *argv, cli_arguments &arguments,
                         int &exit_status);

// The version as every program of the project shows it, "1.0.0-1".
std::string cli_version_text();

#endif
