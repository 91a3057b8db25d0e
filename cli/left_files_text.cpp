// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/left_files_text.h"

#include "cli/refusal_text.h"
#include "report/printable.h"
#include "runner/left_files.h"

// A user who stops a run should wait for this no longer than for the rest.
constexpr std::chrono::seconds patience{1};

// `text` as one word for a shell. Bytes that must not reach a terminal are escaped as Bash and its
// relatives read them.
static std::string shell_quoted(const std::string &text) {
    const bool plain = printable_text(text) == text;
    std::string quoted = plain ? "'" : "$'";
    for (const char character : text) {
        if (character == '\'')
            quoted += plain ? "'\\''" : "\\'";
        else if (character == '\\' && !plain)
            quoted += "\\\\";
        else
            quoted += character;
    }
    return (plain ? quoted : printable_text(quoted)) + "'";
}

std::string volume_gone_text(const std::string &folder) {
    return "the volume on " + shown_path(folder) +
           " was unmounted or replaced during the run; what stands there now was not touched";
}

std::string left_files_text(const cli_arguments &arguments, const run_guard &guard) {
    const left_files left = left_files_look(guard, patience);
    if (left.volume_replaced)
        return volume_gone_text(guard.folder());
    const std::string folder = shown_path(guard.folder());
    const std::optional<std::string> files =
        left.files ? left.files : left_files_recorded(arguments.start_index);
    if (files && files->empty())
        return "no test files are left on " + folder;
    std::string command = "trovik-cli clean " + shell_quoted(guard.folder());
    if (arguments.start_index > 0)
        command += " --start-at=" + std::to_string(arguments.start_index + 1);
    if (arguments.force)
        command += " --force";
    return (files ? "test files left on " + folder + ": " + *files
                  : "test files may be left on " + folder) +
           "; remove them with: " + command;
}
