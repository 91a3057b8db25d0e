// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/run_text.h"

#include "report/printable.h"
#include "runner/left_files.h"

static const char no_force[] = "; --force does not change this";

std::string shown_path(const std::string &path) {
    return "'" + printable_text(path) + "'";
}

std::string refusal_text(const run_refusal &refusal) {
    const std::string folder = shown_path(refusal.folder);
    switch (refusal.kind) {
        case refusal_kind::none:
            return {};
        case refusal_kind::no_folder:
            return folder + ": " + refusal.reason + no_force;
        case refusal_kind::unknown_volume:
            return printable_text(refusal.reason);
        case refusal_kind::read_only:
            return folder + " is read-only" + no_force;
        case refusal_kind::not_mount_root:
            return folder + " is not the root of a mounted volume, it lies on " +
                   shown_path(refusal.volume_root) +
                   "; --force fills that volume through this folder anyway";
        case refusal_kind::system_volume:
            return folder + " lies on the file system that holds " +
                   printable_text(refusal.system_use) +
                   ", which a test would fill; --force fills it anyway";
        case refusal_kind::other_run:
            return "another run is at work on " + folder + no_force;
        case refusal_kind::locked:
            return std::string("another program") +
                   (refusal.may_be_run ? ", perhaps another run," : "") + " holds a lock on " +
                   folder + no_force;
        case refusal_kind::unreadable_folder:
            return refusal.reason + no_force;
        case refusal_kind::foreign_entries:
            return folder + " holds entries with a test file's name that are not ours: " +
                   test_files_foreign_text(refusal.foreign) + "; move or rename them, " +
                   (no_force + 2);
        case refusal_kind::volume_gone:
        case refusal_kind::other_volume:
            break;
    }
    return "the volume on " + folder +
           " was unmounted or replaced by another while it was looked at" + no_force;
}

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
           " was unmounted or replaced during the run; the folder there now was not touched";
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
