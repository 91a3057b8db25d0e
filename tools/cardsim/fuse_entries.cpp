// SPDX-License-Identifier: GPL-3.0-or-later
/* Requests about names, types and attributes. The kernel must not cache any of them: when
 * the card is gone, the next call must fail. */
#include <cerrno>
#include <cstring>
#include <new>
#include <optional>

#include "tools/cardsim/mounted_card.h"

namespace cardsim {

namespace {

// fuse_reply_entry and its relatives count as one lookup of the node.
fuse_entry_param entry_for(node &shown) {
    ++shown.lookups;
    fuse_entry_param entry = {};
    entry.ino = shown.number;
    entry.attr = attributes_of(shown);
    return entry;
}

void answer_entry(fuse_req_t request, node &shown) {
    const fuse_entry_param entry = entry_for(shown);
    if (fuse_reply_entry(request, &entry) != 0) {
        // Interrupted: the kernel did not get the answer.
        card_of(request).tree.forget(shown.number, 1);
    }
}

node *node_or_answer(fuse_req_t request, fuse_ino_t number) {
    node *found = card_of(request).tree.find(number);
    if (found == nullptr) {
        fuse_reply_err(request, ENOENT);
    }
    return found;
}

node_facts facts_for(fuse_req_t request, mode_t mode) {
    const fuse_ctx *caller = fuse_req_ctx(request);
    node_facts facts;
    facts.mode = mode;
    facts.uid = caller->uid;
    facts.gid = caller->gid;
    return facts;
}

/* With --image, the image is the only file and keeps its name. A new name in the root folder
 * needs one of its entries. */
bool request_may_change_names(fuse_req_t request, std::optional<fuse_ino_t> adds_to = {}) {
    if (!request_may_change(request)) {
        return false;
    }
    mounted_card &card = card_of(request);
    const bool full = adds_to == ROOT_NODE && card.options.root_entries &&
                      card.tree.find(ROOT_NODE)->children.size() >= *card.options.root_entries;
    if (full || card.options.image) {
        fuse_reply_err(request, full ? ENOSPC : EPERM);
    }
    return !full && !card.options.image;
}

void answer_made(fuse_req_t request, fuse_ino_t folder, const char *name, const node_facts &facts) {
    if (!request_may_change_names(request, folder)) {
        return;
    }
    node *made = nullptr;
    const int error = card_of(request).tree.make(folder, name, facts, time_of_day(), &made);
    if (error != 0) {
        fuse_reply_err(request, error);
        return;
    }
    answer_entry(request, *made);
}

void on_lookup(fuse_req_t request, fuse_ino_t folder, const char *name) {
    if (!request_present(request)) {
        return;
    }
    node *found = nullptr;
    const int error = card_of(request).tree.lookup(folder, name, &found);
    if (error != 0) {
        fuse_reply_err(request, error);
        return;
    }
    answer_entry(request, *found);
}

void on_forget(fuse_req_t request, fuse_ino_t number, uint64_t lookups) {
    card_of(request).tree.forget(number, lookups);
    fuse_reply_none(request);
}

void on_forget_multi(fuse_req_t request, size_t count, fuse_forget_data *forgets) {
    for (size_t i = 0; i < count; ++i) {
        card_of(request).tree.forget(forgets[i].ino, forgets[i].nlookup);
    }
    fuse_reply_none(request);
}

void on_getattr(fuse_req_t request, fuse_ino_t number, fuse_file_info *) {
    if (!request_present(request)) {
        return;
    }
    if (const node *shown = node_or_answer(request, number)) {
        const struct stat facts = attributes_of(*shown);
        fuse_reply_attr(request, &facts, 0);
    }
}

void set_times(node &changed, const struct stat &wanted, int which, timespec now) {
    if ((which & FUSE_SET_ATTR_ATIME) != 0) {
        changed.accessed = (which & FUSE_SET_ATTR_ATIME_NOW) != 0 ? now : wanted.st_atim;
    }
    if ((which & FUSE_SET_ATTR_MTIME) != 0) {
        changed.modified = (which & FUSE_SET_ATTR_MTIME_NOW) != 0 ? now : wanted.st_mtim;
    }
}

void on_setattr(fuse_req_t request, fuse_ino_t number, struct stat *wanted, int which,
                fuse_file_info *) {
    if (!request_may_change(request)) {
        return;
    }
    node *changed = node_or_answer(request, number);
    if (changed == nullptr) {
        return;
    }
    const timespec now = time_of_day();
    if ((which & FUSE_SET_ATTR_SIZE) != 0) {
        const int error = card_of(request).options.image ? EPERM
                          : changed->is_file()
                              ? changed->contents.resize(card_of(request).room,
                                                         static_cast<uint64_t>(wanted->st_size))
                              : EINVAL;
        if (error != 0) {
            fuse_reply_err(request, error);
            return;
        }
        changed->page.forget();
        changed->modified = now;
    }
    if ((which & FUSE_SET_ATTR_MODE) != 0) {
        changed->facts.mode = (changed->facts.mode & S_IFMT) | (wanted->st_mode & ~mode_t{S_IFMT});
    }
    if ((which & FUSE_SET_ATTR_UID) != 0) {
        changed->facts.uid = wanted->st_uid;
    }
    if ((which & FUSE_SET_ATTR_GID) != 0) {
        changed->facts.gid = wanted->st_gid;
    }
    set_times(*changed, *wanted, which, now);
    changed->changed = now;
    const struct stat facts = attributes_of(*changed);
    fuse_reply_attr(request, &facts, 0);
}

void on_readlink(fuse_req_t request, fuse_ino_t number) {
    if (!request_present(request)) {
        return;
    }
    if (const node *link = node_or_answer(request, number)) {
        fuse_reply_readlink(request, link->facts.link_target.c_str());
    }
}

void on_mknod(fuse_req_t request, fuse_ino_t folder, const char *name, mode_t mode, dev_t device) {
    node_facts facts = facts_for(request, mode);
    facts.device = device;
    answer_made(request, folder, name, facts);
}

void on_mkdir(fuse_req_t request, fuse_ino_t folder, const char *name, mode_t mode) {
    answer_made(request, folder, name, facts_for(request, S_IFDIR | (mode & ~mode_t{S_IFMT})));
}

void on_symlink(fuse_req_t request, const char *target, fuse_ino_t folder, const char *name) {
    node_facts facts = facts_for(request, S_IFLNK | 0777);
    facts.link_target = target;
    answer_made(request, folder, name, facts);
}

// As on the file systems of real cards: FAT and exFAT have no hard links.
void on_link(fuse_req_t request, fuse_ino_t, fuse_ino_t, const char *) {
    if (request_may_change(request)) {
        fuse_reply_err(request, EPERM);
    }
}

void on_create(fuse_req_t request, fuse_ino_t folder, const char *name, mode_t mode,
               fuse_file_info *file) {
    if (!request_may_change_names(request, folder)) {
        return;
    }
    file_tree &tree = card_of(request).tree;
    node *made = nullptr;
    const node_facts facts = facts_for(request, S_IFREG | (mode & ~mode_t{S_IFMT}));
    if (const int error = tree.make(folder, name, facts, time_of_day(), &made); error != 0) {
        fuse_reply_err(request, error);
        return;
    }
    file->keep_cache = 1;
    tree.opened(*made);
    const fuse_entry_param entry = entry_for(*made);
    if (fuse_reply_create(request, &entry, file) != 0) {
        tree.closed(*made);
        tree.forget(entry.ino, 1);
    }
}

void on_unlink(fuse_req_t request, fuse_ino_t folder, const char *name) {
    card_of(request).life.doing(life_moment::remove);
    if (request_may_change_names(request)) {
        fuse_reply_err(request, card_of(request).tree.remove_file(folder, name, time_of_day()));
    }
}

void on_rmdir(fuse_req_t request, fuse_ino_t folder, const char *name) {
    if (request_may_change_names(request)) {
        fuse_reply_err(request, card_of(request).tree.remove_folder(folder, name, time_of_day()));
    }
}

// The flags of renameat2(2); glibc declares them only as an extension.
constexpr unsigned RENAME_KEEPS_TARGET = 1;
constexpr unsigned RENAME_EXCHANGES = 2;

void on_rename(fuse_req_t request, fuse_ino_t from, const char *name, fuse_ino_t to,
               const char *new_name, unsigned flags) {
    if (!request_may_change_names(request)) {
        return;
    }
    file_tree &tree = card_of(request).tree;
    int error = EINVAL;
    if (flags == RENAME_EXCHANGES) {
        error = tree.exchange(from, name, to, new_name, time_of_day());
    } else if ((flags & ~RENAME_KEEPS_TARGET) == 0) {
        error = tree.rename(from, name, to, new_name, flags == 0, time_of_day());
    }
    fuse_reply_err(request, error);
}

void on_opendir(fuse_req_t request, fuse_ino_t number, fuse_file_info *file) {
    card_of(request).life.doing(life_moment::list);
    if (!request_present(request)) {
        return;
    }
    mounted_card &card = card_of(request);
    std::vector<folder_entry> view;
    if (const int error = card.tree.list(number, &view); error != 0) {
        fuse_reply_err(request, error);
        return;
    }
    file->fh = ++card.last_open_folder;
    card.open_folders.emplace(file->fh, std::move(view));
    if (fuse_reply_open(request, file) != 0) {
        card.open_folders.erase(card.last_open_folder);
    }
}

void on_readdir(fuse_req_t request, fuse_ino_t number, size_t size, off_t offset,
                fuse_file_info *file) {
    if (!request_present(request)) {
        return;
    }
    std::vector<folder_entry> &view = card_of(request).open_folders[file->fh];
    if (offset == 0) {
        if (const int error = card_of(request).tree.list(number, &view); error != 0) {
            fuse_reply_err(request, error);
            return;
        }
    }
    std::vector<char> buffer(size);
    size_t filled = 0;
    for (size_t at = static_cast<size_t>(offset); at < view.size(); ++at) {
        struct stat facts = {};
        facts.st_ino = view[at].number;
        facts.st_mode = view[at].mode;
        const size_t needed =
            fuse_add_direntry(request, buffer.data() + filled, size - filled, view[at].name.c_str(),
                              &facts, static_cast<off_t>(at + 1));
        if (needed > size - filled) {
            break;
        }
        filled += needed;
    }
    fuse_reply_buf(request, buffer.data(), filled);
}

void on_releasedir(fuse_req_t request, fuse_ino_t, fuse_file_info *file) {
    card_of(request).open_folders.erase(file->fh);
    fuse_reply_err(request, 0);
}

/* No exception may reach libfuse, which is C. The only one possible is std::bad_alloc, before
 * any answer was sent. */
template <auto handler>
struct guarded;
template <typename... Rest, void (*handler)(fuse_req_t, Rest...)>
struct guarded<handler> {
    static void call(fuse_req_t request, Rest... rest) {
        try {
            handler(request, rest...);
        } catch (const std::bad_alloc &) {
            fuse_reply_err(request, ENOMEM);
        }
    }
};

}  // namespace

void fuse_entries_add(fuse_lowlevel_ops *table) {
    table->lookup = guarded<on_lookup>::call;
    table->forget = on_forget;
    table->forget_multi = on_forget_multi;
    table->getattr = on_getattr;
    table->setattr = guarded<on_setattr>::call;
    table->readlink = on_readlink;
    table->mknod = guarded<on_mknod>::call;
    table->mkdir = guarded<on_mkdir>::call;
    table->symlink = guarded<on_symlink>::call;
    table->link = on_link;
    table->create = guarded<on_create>::call;
    table->unlink = guarded<on_unlink>::call;
    table->rmdir = guarded<on_rmdir>::call;
    table->rename = guarded<on_rename>::call;
    table->opendir = guarded<on_opendir>::call;
    table->readdir = guarded<on_readdir>::call;
    table->releasedir = on_releasedir;
}

}  // namespace cardsim
