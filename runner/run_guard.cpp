// SPDX-License-Identifier: GPL-3.0-or-later
// The order is the point: the folder is opened before anything is learned about it, and its
// entries are read under the lock, because a run that ends in between would change them.
#include "runner/run_guard.h"

#include <filesystem>
#include <utility>

run_refusal run_guard::refuse(refusal_kind kind, std::string reason) const {
    run_refusal refusal;
    refusal.kind = kind;
    refusal.folder = m_folder;
    refusal.reason = std::move(reason);
    return refusal;
}

run_refusal run_guard::find_folder() {
    m_folder = m_request.path;
    std::error_code error;
    const std::filesystem::path canonical = std::filesystem::canonical(m_request.path, error);
    if (error && m_request.chosen)
        return refuse(refusal_kind::volume_gone);
    if (error && m_request.pass_unreadable)
        return {};
    if (error)
        return refuse(refusal_kind::no_folder, error.message());
    if (!std::filesystem::is_directory(canonical, error))
        return refuse(refusal_kind::no_folder, error ? error.message() : "not a folder");
    m_folder = canonical.string();
    return {};
}

run_refusal run_guard::find_volume() {
    m_volume.emplace();
    std::string error;
    if (volume_describe(m_folder, *m_volume, error))
        return {};
    m_volume.reset();
    if (m_request.chosen)
        return refuse(refusal_kind::volume_gone);
    if (m_request.pass_unreadable)
        return {};
    return refuse(refusal_kind::unknown_volume, error);
}

run_refusal run_guard::compare_with_chosen() const {
    if (volume_is_still(*m_request.chosen, *m_volume))
        return {};
    if (m_request.accept_new_mount && volume_is_same_card(*m_request.chosen, *m_volume))
        return {};
    return refuse(refusal_kind::other_volume);
}

run_refusal run_guard_check_system_use(const std::string &folder) {
    run_refusal refusal;
    refusal.folder = folder;
    std::vector<volume_system_use> uses;
    if (!volume_find_system_uses(folder, uses, refusal.reason)) {
        refusal.kind = refusal_kind::unknown_volume;
    } else if (!uses.empty()) {
        refusal.kind = refusal_kind::system_volume;
        refusal.system_use = volume_system_use_text(uses.front());
    }
    return refusal;
}

run_refusal run_guard::judge_volume() const {
    if (m_volume->read_only.value_or(false))
        return refuse(refusal_kind::read_only);
    if (m_request.force)
        return {};
    bool is_root = false;
    std::string error;
    if (!volume_is_mount_root(m_folder, is_root, error))
        return refuse(refusal_kind::unknown_volume, error);
    if (!is_root) {
        run_refusal refusal = refuse(refusal_kind::not_mount_root);
        refusal.volume_root = m_volume->root;
        return refusal;
    }
    return run_guard_check_system_use(m_folder);
}

run_refusal run_guard::look(const run_request &request) {
    m_request = request;
    m_volume.reset();
    if (run_refusal refusal = find_folder())
        return refusal;
    m_anchor = std::make_shared<folder_anchor>(m_folder);
    if (run_refusal refusal = find_volume())
        return refusal;
    if (!m_volume)
        return {};
    if (m_request.chosen) {
        if (run_refusal refusal = compare_with_chosen())
            return refusal;
    }
    return m_request.judge_volume ? judge_volume() : run_refusal();
}

// A run works on the whole volume, through whichever of its folders: writing fills it, and two that
// read share its speed. The locks on the folders do not cover a volume that is mounted twice, and
// any program may hold them.
run_refusal run_guard::lock_volume() {
    m_lock = std::make_unique<run_lock>();
    std::vector<std::string> folders = {m_folder};
    run_lock_state of_file_system = run_lock_state::failed;
    if (m_volume) {
        of_file_system = m_lock->take_file_system(m_volume->device).state;
        folders.push_back(m_volume->root);
    }
    if (of_file_system == run_lock_state::held_by_run)
        return refuse(refusal_kind::other_run);
    for (const std::string &folder : folders) {
        if (m_lock->take(folder).state != run_lock_state::locked)
            continue;
        run_refusal refusal = refuse(refusal_kind::locked);
        refusal.folder = folder;
        refusal.may_be_run = of_file_system != run_lock_state::taken;
        return refusal;
    }
    return {};
}

run_refusal run_guard::scan_entries() {
    std::string error;
    if (!test_files_scan(m_folder, m_request.start_index, m_files, error) &&
        !m_request.pass_unreadable)
        return refuse(refusal_kind::unreadable_folder, error);
    run_refusal refusal;
    if (!m_files.foreign.empty()) {
        refusal = refuse(refusal_kind::foreign_entries);
        refusal.foreign = m_files.foreign;
    }
    return refusal;
}

run_refusal run_guard::take() {
    run_refusal refusal = lock_volume();
    if (!refusal) {
        refusal = scan_entries();
        if (!m_anchor->is_in_place())
            refusal = refuse(refusal_kind::other_volume);
    }
    if (refusal)
        m_lock.reset();
    return refusal;
}
