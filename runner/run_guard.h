// SPDX-License-Identifier: GPL-3.0-or-later
// Decides whether a run may begin on a volume, before anything on the volume changes, and keeps
// the volume for that run. The answer is a value with its facts; each shell has its own words for
// it.
//
// Two refusals can be overridden (`force`), because a user may mean it: a folder that is not the
// root of its own mount, and a file system that the system itself lives on. The others cannot:
// there is nothing to test, or something to lose.
#ifndef TROVIK_RUNNER_RUN_GUARD_H
#define TROVIK_RUNNER_RUN_GUARD_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "runner/test_files.h"
#include "volume/folder_anchor.h"
#include "volume/run_lock.h"
#include "volume/volume.h"

enum class refusal_kind {
    none,
    no_folder,       // the path leads to no folder: `reason`
    unknown_volume,  // the folder's volume cannot be described: `reason` names the path, too
    read_only,       // the volume takes no writes
    not_mount_root,  // the folder lies inside the volume that is mounted on `volume_root`
    system_volume,   // the volume holds `system_use`
    volume_gone,     // the chosen volume cannot be described any more
    other_volume,    // another volume has taken the place of the one that was chosen or looked at
    other_run,       // another run works on the volume
    locked,          // a program holds a lock on the folder or on the root of the volume
    unreadable_folder,  // the folder cannot be read to its end: `reason` names it, too
    foreign_entries,    // `foreign`: entries with a test file's name that are not ours
};

struct run_refusal {
    refusal_kind kind = refusal_kind::none;
    std::string folder;       // its real bytes, like all paths here; for locked: the locked one
    bool may_be_run = false;  // for locked: the program may be another run
    std::string reason;       // the system's words
    std::string volume_root;  // for not_mount_root
    std::string system_use;   // for system_volume: "the system's root /"
    std::vector<std::string> foreign;  // see test_file_scan

    // Whether the run must not begin.
    explicit operator bool() const { return kind != refusal_kind::none; }
};

struct run_request {
    std::string path;     // of the folder that holds the test files
    int start_index = 0;  // of the first test file
    // Refuse a volume that a run should not fill: read-only, the system's own, or one that the path
    // is not the root of. Off for a run that only reads, and where the user has confirmed the
    // volume.
    bool judge_volume = true;
    bool force = false;  // override what can be overridden
    // The volume that the user chose earlier; another one in its place is refused.
    std::optional<volume_info> chosen = std::nullopt;
    // Accept the chosen card after a new mount, too; see volume_is_same_card().
    bool accept_new_mount = false;
    // Let the run begin on a folder that does not exist or cannot be read: the engine ends the
    // process with the reason.
    bool pass_unreadable = false;
};

// Asks `system_volume`'s question alone: for a shell that lets the user decide. Any thread.
run_refusal run_guard_check_system_use(const std::string &folder);

// Holds the volume from look() and take() to its own end. One thread at a time, but for
// is_in_place().
class run_guard {
 public:
    // Looks at the volume and opens the folder, so that a volume that takes its place is noticed.
    run_refusal look(const run_request &request);

    // After look(): locks the volume against other runs, then finds the test files that are there.
    // A refusal gives the locks back, and take() may be tried again.
    run_refusal take();

    // Whether the path still leads to the folder that look() opened. A volume that only fails is
    // still in its place. Any thread.
    bool is_in_place() const { return m_anchor && m_anchor->is_in_place(); }

    // Facts of the last look(). The folder is absolute and has no links in it.
    const std::string &folder() const { return m_folder; }
    const std::optional<volume_info> &volume() const { return m_volume; }
    int start_index() const { return m_request.start_index; }
    // Outlives this object in a question to the volume that is never answered.
    const std::shared_ptr<const folder_anchor> &anchor() const { return m_anchor; }

    // The test files that take() found.
    const test_file_scan &files() const { return m_files; }

 private:
    run_refusal find_folder();
    run_refusal find_volume();
    run_refusal judge_volume() const;
    run_refusal compare_with_chosen() const;
    run_refusal lock_volume();
    run_refusal scan_entries();
    run_refusal refuse(refusal_kind kind, std::string reason = {}) const;

    run_request m_request;
    std::string m_folder;
    std::optional<volume_info> m_volume;
    std::shared_ptr<const folder_anchor> m_anchor;
    std::unique_ptr<run_lock> m_lock;
    test_file_scan m_files;
};

#endif
