// Two refusals can be overridden, because a user may mean it: a folder that is
// not the root of its own mount, and a file system that the system itself lives
// on. The others cannot: there is nothing to test, or something to lose.
#include "cli/guard.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>

#include "report/printable.h"

static const char force_is_no_help[] = "--force does not change this";

static std::string shown_path(const std::string &path) {
    return "'" + printable_text(path) + "'";
}

// The folder's one true name. False with the reason when there is no such folder.
static bool resolve_folder(const std::string &path, std::string &folder, std::string &refusal) {
    const std::unique_ptr<char, void (*)(void *)> resolved(realpath(path.c_str(), nullptr),
                                                           std::free);
    if (!resolved) {
        refusal = shown_path(path) + ": " + std::strerror(errno) + "; " + force_is_no_help;
        return false;
    }
    folder = resolved.get();
    std::error_code error;
    if (std::filesystem::is_directory(folder, error))
        return true;
    refusal = shown_path(path) + ": " + (error ? error.message() : "not a folder") + "; " +
              force_is_no_help;
    return false;
}

static bool check_mount_root(const run_target &target, std::string &refusal) {
    bool is_root = false;
    std::string error;
    if (!volume_is_mount_root(target.folder, is_root, error)) {
        refusal = printable_text(error);
        return false;
    }
    if (is_root)
        return true;
    refusal = shown_path(target.folder) + " is not the root of a mounted volume, it lies on " +
              shown_path(target.volume.root) +
              "; --force fills that volume through this folder all the same";
    return false;
}

static bool check_system_uses(const run_target &target, std::string &refusal) {
    std::vector<volume_system_use> uses;
    std::string error;
    if (!volume_find_system_uses(target.folder, uses, error)) {
        refusal = printable_text(error);
        return false;
    }
    if (uses.empty())
        return true;
    refusal = shown_path(target.folder) + " lies on the file system that holds " +
              printable_text(volume_system_use_text(uses.front())) +
              ", which a test would fill; --force fills it all the same";
    return false;
}

static bool check_entries(run_target &target, int start_index, std::string &refusal) {
    if (!test_files_scan(target.folder, start_index, target.files, refusal)) {
        refusal += std::string("; ") + force_is_no_help;
        return false;
    }
    const std::vector<std::string> &foreign = target.files.foreign;
    if (foreign.empty())
        return true;
    refusal = shown_path(target.folder) +
              " holds entries with a test file's name that are not ours: " +
              test_files_foreign_text(foreign);
    refusal += std::string("; move or rename them, ") + force_is_no_help;
    return false;
}

bool guard_check(const cli_arguments &arguments, run_target &target, std::string &refusal) {
    if (!resolve_folder(arguments.volume, target.folder, refusal))
        return false;
    target.anchor = std::make_unique<folder_anchor>(target.folder);
    std::string error;
    if (!volume_describe(target.folder, target.volume, error)) {
        refusal = printable_text(error);
        return false;
    }
    // Reading changes nothing, so any folder and any volume may be read.
    if (arguments.command != cli_command::read) {
        if (target.volume.read_only.value_or(false)) {
            refusal = shown_path(target.folder) + " is read-only; " + force_is_no_help;
            return false;
        }
        if (!arguments.force &&
            (!check_mount_root(target, refusal) || !check_system_uses(target, refusal)))
            return false;
    }
    return true;
}

bool guard_begin(const cli_arguments &arguments, run_target &target, run_lock &lock,
                 std::string &refusal) {
    // A run works on the whole volume, through whichever of its folders: writing fills it, and two
    // that read share its speed. The folders tell no volume that is mounted twice.
    const auto is_held = [](const run_lock_answer &answer) {
        return answer.state == run_lock_state::held_by_run ||
               answer.state == run_lock_state::locked;
    };
    if (is_held(lock.take_file_system(target.volume.device)) || is_held(lock.take(target.folder)) ||
        is_held(lock.take(target.volume.root))) {
        refusal =
            "another run is at work on " + shown_path(target.folder) + "; " + force_is_no_help;
        return false;
    }
    // Not before the lock: a run that ends in between would change what is listed.
    const bool usable = check_entries(target, arguments.start_index, refusal);
    if (target.anchor->is_in_place())
        return usable;
    refusal = "the volume on " + shown_path(target.folder) +
              " was unmounted or replaced by another while it was looked at; " + force_is_no_help;
    return false;
}
