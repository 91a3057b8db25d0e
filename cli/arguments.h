// The command line's words, checked and turned into values.
#ifndef TROVIK_CLI_ARGUMENTS_H
#define TROVIK_CLI_ARGUMENTS_H

#include <cstdint>
#include <optional>
#include <string>

#include "model/f3write.h"

enum class cli_command { test, write, read, clean, info };

struct cli_arguments {
    cli_command command = cli_command::info;
    std::string volume;                            // as typed; empty only for info
    int start_index = 0;                           // index of the first test file
    std::int32_t block_size = F3WRITE_BLOCK_SIZE;  // bytes per write call
    bool keep_files = false;                       // leave the test files on the volume
    bool force = false;                            // override what may be overridden
    bool medium_is_memory = false;    // take the file system's word that it keeps no other copy
    std::optional<std::string> json;  // file for the JSON report, "-" for standard output
};

// The command as it is typed.
const char *cli_command_name(cli_command command);

// Reads the arguments. Returns true with `arguments` filled in, or false with
// the status to exit with; what is to be said (help, the version, or one line
// that names the mistake) has been printed then.
bool cli_parse_arguments(int argc, const char *const *argv, cli_arguments &arguments,
                         int &exit_status);

// The version as every program of the project shows it, "1.0.0-1".
std::string cli_version_text();

#endif
