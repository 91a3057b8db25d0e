// SPDX-License-Identifier: GPL-3.0-or-later
/* Names and nodes. A node is destroyed when it has no name, is not open and the kernel has
 * forgotten it. Its sectors are freed without waiting for the kernel, so that free space is
 * right at once. */
#include "tools/cardsim/file_tree.h"

#include <cerrno>

namespace cardsim {

file_tree::file_tree(card_room &room, const node_facts &root, timespec now) : m_room(room) {
    auto top = std::make_unique<node>();
    top->number = ROOT_NODE;
    top->facts = root;
    top->parent = ROOT_NODE;
    top->links = 2;
    top->accessed = top->modified = top->changed = now;
    m_nodes.emplace(ROOT_NODE, std::move(top));
}

node *file_tree::find(uint64_t number) {
    const auto at = m_nodes.find(number);
    return at == m_nodes.end() ? nullptr : at->second.get();
}

int file_tree::lookup(uint64_t folder, std::string_view name, node **found) {
    node *parent = find(folder);
    if (parent == nullptr) {
        return ENOENT;
    }
    if (!parent->is_folder()) {
        return ENOTDIR;
    }
    if (name.size() > LONGEST_NAME) {
        return ENAMETOOLONG;
    }
    const auto at = parent->children.find(name);
    if (at == parent->children.end()) {
        return ENOENT;
    }
    *found = find(at->second);
    return 0;
}

/* The folder for a new name. */
int file_tree::folder_for_change(uint64_t folder, std::string_view name, node **parent) {
    *parent = find(folder);
    if (*parent == nullptr || (*parent)->links == 0) {
        return ENOENT;
    }
    if (!(*parent)->is_folder()) {
        return ENOTDIR;
    }
    return name.size() > LONGEST_NAME ? ENAMETOOLONG : 0;
}

void file_tree::attach(node &parent, std::string_view name, node &child, timespec now) {
    parent.children.emplace(name, child.number);
    parent.modified = parent.changed = now;
    child.changed = now;
    if (child.is_folder()) {
        child.parent = parent.number;
        ++parent.links;
    }
}

void file_tree::detach(node &parent, std::string_view name, node &child, timespec now) {
    parent.children.erase(parent.children.find(name));
    parent.modified = parent.changed = now;
    child.changed = now;
    if (child.is_folder()) {
        --parent.links;
    }
}

void file_tree::unname(node &child, timespec now) {
    child.changed = now;
    child.links = 0;
    collect(child);
}

void file_tree::collect(node &candidate) {
    if (candidate.links != 0 || candidate.opens != 0) {
        return;
    }
    candidate.page.forget();
    candidate.contents.resize(m_room, 0);
    if (candidate.lookups == 0) {
        m_nodes.erase(candidate.number);
    }
}

int file_tree::make(uint64_t folder, std::string_view name, node_facts facts, timespec now,
                    node **made) {
    node *parent = nullptr;
    if (const int error = folder_for_change(folder, name, &parent); error != 0) {
        return error;
    }
    if (parent->children.contains(name)) {
        return EEXIST;
    }
    if ((parent->facts.mode & S_ISGID) != 0) {
        facts.gid = parent->facts.gid;
        facts.mode |= S_ISDIR(facts.mode) ? S_ISGID : 0U;
    }
    auto fresh = std::make_unique<node>();
    fresh->number = ++m_last_number;
    fresh->facts = std::move(facts);
    fresh->links = fresh->is_folder() ? 2 : 1;
    fresh->accessed = fresh->modified = now;
    attach(*parent, name, *fresh, now);
    *made = fresh.get();
    m_nodes.emplace(fresh->number, std::move(fresh));
    return 0;
}

int file_tree::remove_file(uint64_t folder, std::string_view name, timespec now) {
    node *child = nullptr;
    if (const int error = lookup(folder, name, &child); error != 0) {
        return error;
    }
    if (child->is_folder()) {
        return EISDIR;
    }
    detach(*find(folder), name, *child, now);
    unname(*child, now);
    return 0;
}

int file_tree::remove_folder(uint64_t folder, std::string_view name, timespec now) {
    node *child = nullptr;
    if (const int error = lookup(folder, name, &child); error != 0) {
        return error;
    }
    if (!child->is_folder()) {
        return ENOTDIR;
    }
    if (!child->children.empty()) {
        return ENOTEMPTY;
    }
    detach(*find(folder), name, *child, now);
    unname(*child, now);
    return 0;
}

int file_tree::check_replacing(const node &moving, const node &replaced) const {
    if (moving.is_folder() && !replaced.is_folder()) {
        return ENOTDIR;
    }
    if (!moving.is_folder() && replaced.is_folder()) {
        return EISDIR;
    }
    return replaced.children.empty() ? 0 : ENOTEMPTY;
}

int file_tree::rename(uint64_t from, std::string_view name, uint64_t to, std::string_view new_name,
                      bool replace, timespec now) {
    node *moving = nullptr;
    node *target = nullptr;
    if (const int error = lookup(from, name, &moving); error != 0) {
        return error;
    }
    if (const int error = folder_for_change(to, new_name, &target); error != 0) {
        return error;
    }
    // The kernel never requests it; a folder moved into itself would be lost.
    for (const node *above = target; moving->is_folder(); above = find(above->parent)) {
        if (above == moving) {
            return EINVAL;
        }
        if (above->number == ROOT_NODE) {
            break;
        }
    }
    node *replaced = nullptr;
    if (lookup(to, new_name, &replaced) == 0) {
        if (!replace) {
            return EEXIST;
        }
        if (replaced == moving) {
            return 0;
        }
        if (const int error = check_replacing(*moving, *replaced); error != 0) {
            return error;
        }
        detach(*target, new_name, *replaced, now);
        unname(*replaced, now);
    }
    detach(*find(from), name, *moving, now);
    attach(*target, new_name, *moving, now);
    return 0;
}

int file_tree::exchange(uint64_t from, std::string_view name, uint64_t to, std::string_view other,
                        timespec now) {
    node *one = nullptr;
    node *two = nullptr;
    if (const int error = lookup(from, name, &one); error != 0) {
        return error;
    }
    if (const int error = lookup(to, other, &two); error != 0) {
        return error;
    }
    if (one == two) {
        return 0;
    }
    detach(*find(from), name, *one, now);
    detach(*find(to), other, *two, now);
    attach(*find(from), name, *two, now);
    attach(*find(to), other, *one, now);
    return 0;
}

int file_tree::list(uint64_t folder, std::vector<folder_entry> *entries) {
    const node *parent = find(folder);
    if (parent == nullptr) {
        return ENOENT;
    }
    if (!parent->is_folder()) {
        return ENOTDIR;
    }
    entries->clear();
    entries->reserve(parent->children.size() + 2);
    entries->push_back({".", parent->number, S_IFDIR});
    entries->push_back({"..", parent->parent, S_IFDIR});
    for (const auto &[name, number] : parent->children) {
        entries->push_back({name, number, find(number)->facts.mode});
    }
    return 0;
}

void file_tree::closed(node &file) {
    --file.opens;
    if (file.opens == 0) {
        file.page.forget();
    }
    collect(file);
}

void file_tree::forget(uint64_t number, uint64_t lookups) {
    node *known = find(number);
    if (known == nullptr || number == ROOT_NODE) {
        return;
    }
    known->lookups -= lookups < known->lookups ? lookups : known->lookups;
    collect(*known);
}

}  // namespace cardsim
