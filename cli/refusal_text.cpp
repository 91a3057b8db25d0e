// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/refusal_text.h"

#include "report/printable.h"

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
                   "; --force fills that volume through this folder all the same";
        case refusal_kind::system_volume:
            return folder + " lies on the file system that holds " +
                   printable_text(refusal.system_use) +
                   ", which a test would fill; --force fills it all the same";
        case refusal_kind::other_run:
            return "another run is at work on " + folder + no_force;
        case refusal_kind::locked:
            return "another program holds a lock on " + folder + no_force;
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
