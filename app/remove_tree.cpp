// Guarantees that only entries below the starting path are removed. Every step is
// taken by a single name within a folder that is held open, so that no path is
// resolved a second time: a folder that becomes a link between two steps leads
// nowhere. A step down opens what was looked at, on the same mount, or is not taken; a
// step up arrives at the folder that the way down came through, or all ends there.
//
// Depth costs memory, not descriptors and not the stack: the way down is a list, and
// only its deepest folders are open. The others are opened again from below and read
// from their beginning, which ends because a folder that has to stay is entered once.
//
// It cannot keep somebody from moving a folder out at the very moment when it is being
// emptied: no system offers to remove an entry only while its folder is in its place.
#include "app/remove_tree.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <memory>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "volume/naming.h"

namespace {

// Trees of real volumes are rarely deeper; each open folder also has a buffer of 32 KiB.
constexpr std::size_t most_open_folders = 32;

// On a damaged volume a folder may hold itself. No honest tree is as deep as this.
constexpr std::size_t most_depth = 20'000;

// Some file systems lose their place in a folder when entries of it are removed. One that shows
// no more than one buffer then, at least 115 of the longest names in 32 KiB, still gets through a
// million entries. Without an end, somebody who puts back what is removed would never let go.
constexpr int most_passes = 10'000;

// O_NONBLOCK is for a pipe that took the folder's name, should a system open it before it finds
// that it is no folder.
constexpr int open_for_entries = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK;

struct folder_closer {
    void operator()(DIR *folder) const { closedir(folder); }
};
using folder_handle = std::unique_ptr<DIR, folder_closer>;

struct entry_facts {
    bool is_folder = false;
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t mount = 0;  // 0 where mounts have no numbers

    bool is_on_mount_of(const entry_facts &other) const {
        return device == other.device && mount == other.mount;
    }
    bool is_same_as(const entry_facts &other) const {
        return is_on_mount_of(other) && inode == other.inode;
    }
};

// Looks at the entry of an open folder, or at the folder itself when the name is empty. Follows
// no link and sets off no automatic mount. False with the reason in errno.
#ifdef STATX_MNT_ID
// A folder of one file system can be mounted in another one of it; only the number of the mount
// tells them apart. A kernel that does not know the number leaves it at 0 for all.
bool look_at(int folder, const char *name, entry_facts &facts) {
    struct statx status = {};
    const int result = uninterrupted([&] {
        return statx(folder, name, AT_EMPTY_PATH | AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT,
                     STATX_TYPE | STATX_INO | STATX_MNT_ID, &status);
    });
    if (result != 0)
        return false;
    facts.is_folder = S_ISDIR(status.stx_mode);
    facts.device = (std::uint64_t{status.stx_dev_major} << 32) | status.stx_dev_minor;
    facts.inode = status.stx_ino;
    facts.mount = (status.stx_mask & STATX_MNT_ID) != 0 ? status.stx_mnt_id : 0;
    return true;
}
#else
bool look_at(int folder, const char *name, entry_facts &facts) {
    struct stat status = {};
    const int result = uninterrupted([&] {
        return *name == '\0' ? fstat(folder, &status)
                             : fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW);
    });
    if (result != 0)
        return false;
    facts.is_folder = S_ISDIR(status.st_mode);
    facts.device = static_cast<std::uint64_t>(status.st_dev);
    facts.inode = static_cast<std::uint64_t>(status.st_ino);
    return true;
}
#endif

class tree_removal {
 public:
    // `error` and `progress` are the caller's, and outlive this.
    tree_removal(const std::string &path, int base, remove_tree_error &error,
                 remove_tree_progress *progress)
        : m_path(path), m_base(base), m_error(error), m_progress(progress) {}
    ~tree_removal() {
        if (m_parent >= 0)
            close(m_parent);
    }
    tree_removal(const tree_removal &) = delete;
    tree_removal &operator=(const tree_removal &) = delete;

    void run();

 private:
    // A folder on the way down.
    struct way_folder {
        std::string name;          // in the folder above it
        entry_facts facts;         // as it was entered
        folder_handle entries;     // nothing while it is not open
        bool removed_any = false;  // in this pass
        int passes = 0;
        std::unordered_set<std::string> staying;  // folders in it that are not entered again
    };

    bool open_parent();
    int current() const;
    folder_handle open_folder(const char *name, entry_facts &facts);
    bool close_topmost();
    const char *next_entry();
    void remove_entry(const char *name);
    void enter(const char *name, const entry_facts &seen);
    void leave();
    bool is_back_at_folder_above();
    bool remove_name(const char *name, int flags);
    void note(int error_number, const char *name);
    void note_staying(int error_number, const char *name);

    std::string m_path;  // without slashes at its end once its parent is open
    int m_base;          // what a relative path begins at
    remove_tree_error &m_error;
    remove_tree_progress *m_progress;
    std::uint64_t m_removed = 0;
    int m_parent = -1;  // the folder that holds the starting entry
    entry_facts m_parent_facts;
    std::vector<way_folder> m_way;  // from the starting folder down to the current one
    std::size_t m_first_open = 0;   // in m_way; those above it are closed
};

void tree_removal::run() {
    if (!open_parent())
        return;
    remove_entry(m_path.c_str() + m_path.rfind('/') + 1);
    while (!m_way.empty()) {
        if (const char *name = next_entry())
            remove_entry(name);
        else
            leave();
    }
}

// "." and ".." name no entry of their parent, and a zero byte would cut the path short.
bool tree_removal::open_parent() {
    if (m_path.empty()) {
        note(ENOENT, nullptr);
        return false;
    }
    const std::string given = m_path;
    m_path.resize(given.find_last_not_of('/') + 1);
    const std::size_t slash = m_path.rfind('/');
    const std::string name = m_path.substr(slash + 1);
    if (name.empty() || name == "." || name == ".." || m_path.find('\0') != std::string::npos) {
        m_path = given;
        note(EINVAL, nullptr);
        return false;
    }
    const std::string parent = slash == std::string::npos ? "." : m_path.substr(0, slash + 1);
    m_parent = uninterrupted(
        [&] { return openat(m_base, parent.c_str(), open_for_names | O_DIRECTORY | O_CLOEXEC); });
    if (m_parent >= 0 && look_at(m_parent, "", m_parent_facts))
        return true;
    note(errno, nullptr);
    return false;
}

// The folder in which entries are named now.
int tree_removal::current() const {
    return m_way.empty() ? m_parent : dirfd(m_way.back().entries.get());
}

// Opens an entry of the current folder, which may be the one above it. Folders far above are
// closed when descriptors run out. Nothing with the reason in errno when it is no folder.
folder_handle tree_removal::open_folder(const char *name, entry_facts &facts) {
    int descriptor = -1;
    do {
        descriptor = uninterrupted([&] { return openat(current(), name, open_for_entries); });
    } while (descriptor < 0 && (errno == EMFILE || errno == ENFILE) && close_topmost());
    if (descriptor < 0)
        return nullptr;
    folder_handle folder;
    if (look_at(descriptor, "", facts))
        folder.reset(fdopendir(descriptor));
    if (!folder) {
        const int error_number = errno;
        close(descriptor);
        errno = error_number;
    }
    return folder;
}

// Closes the highest folder that is open, but never the current one.
bool tree_removal::close_topmost() {
    if (m_first_open + 1 >= m_way.size())
        return false;
    m_way[m_first_open].entries.reset();
    ++m_first_open;
    return true;
}

// The next name in the current folder; nothing when it is done with: a whole pass over it has
// removed nothing. The name is good until the next call.
const char *tree_removal::next_entry() {
    way_folder &folder = m_way.back();
    while (true) {
        errno = 0;
        const dirent *entry = readdir(folder.entries.get());
        if (entry == nullptr) {
            if (errno == EINTR)
                continue;
            if (errno != 0 && errno != ENOENT)
                note(errno, nullptr);
            if (!folder.removed_any || ++folder.passes >= most_passes)
                return nullptr;
            folder.removed_any = false;
            rewinddir(folder.entries.get());
            continue;
        }
        const std::string_view name = entry->d_name;
        if (name == "." || name == "..")
            continue;
        // A damaged volume may hold anything for a name, and this one would be a path.
        if (name.empty() || name.find('/') != std::string_view::npos) {
            note(EIO, nullptr);
            continue;
        }
        return entry->d_name;
    }
}

// Removes the entry of the current folder, or steps down into it.
void tree_removal::remove_entry(const char *name) {
    entry_facts seen;
    if (!look_at(current(), name, seen)) {
        if (errno != ENOENT || m_way.empty())
            note(errno, name);
    } else if (seen.is_folder) {
        enter(name, seen);
    } else if (!remove_name(name, 0)) {
        note(errno, name);
    }
}

void tree_removal::enter(const char *name, const entry_facts &seen) {
    if (!m_way.empty() && m_way.back().staying.count(name) != 0)
        return;
    if (!seen.is_on_mount_of(m_parent_facts)) {
        note_staying(EBUSY, name);
        return;
    }
    if (m_way.size() >= most_depth) {
        note_staying(ELOOP, name);
        return;
    }
    entry_facts opened;
    folder_handle entries = open_folder(name, opened);
    if (!entries) {
        const int error_number = errno;
        // An empty folder can be removed without a look into it.
        if (!remove_name(name, AT_REMOVEDIR))
            note_staying(error_number, name);
        return;
    }
    if (!opened.is_same_as(seen)) {
        note_staying(ESTALE, name);
        return;
    }
    m_way.push_back({name, opened, std::move(entries), false, 0, {}});
    if (m_way.size() - m_first_open > most_open_folders)
        close_topmost();
}

// Steps up, and removes the folder that this leaves. When the folder above is not found, all the
// folders on the way stay.
void tree_removal::leave() {
    if (!is_back_at_folder_above()) {
        m_way.clear();
        return;
    }
    const std::string name = std::move(m_way.back().name);
    m_way.pop_back();
    const std::uint64_t removed_before = m_removed;
    if (!remove_name(name.c_str(), AT_REMOVEDIR))
        note_staying(errno, name.c_str());
    else if (m_way.empty() && m_removed != removed_before)
        m_error = {};  // it was empty: whatever went wrong below it came right
}

// Whether the folder above the current one is the one that the way down came through. It is open
// then, and read from its beginning when it had been closed.
bool tree_removal::is_back_at_folder_above() {
    const bool is_start = m_way.size() == 1;
    way_folder *const above = is_start ? nullptr : &m_way[m_way.size() - 2];
    entry_facts found;
    if (above != nullptr && !above->entries) {
        above->entries = open_folder("..", found);
        if (!above->entries) {
            // A folder that has lost the one above it is not a path that is missing.
            note(errno == ENOENT ? ESTALE : errno, nullptr);
            return false;
        }
        --m_first_open;
    } else if (!look_at(current(), "..", found)) {
        return true;  // no right to search it, or it is gone; the one above is held open anyway
    }
    if (found.is_same_as(is_start ? m_parent_facts : above->facts))
        return true;
    note(ESTALE, nullptr);
    return false;
}

// unlinkat in the current folder. What is gone already is as good as removed. False with the
// reason in errno.
bool tree_removal::remove_name(const char *name, int flags) {
    if (uninterrupted([&] { return unlinkat(current(), name, flags); }) != 0)
        return errno == ENOENT;
    ++m_removed;
    if (m_progress != nullptr)
        m_progress->removed.store(m_removed, std::memory_order_relaxed);
    if (!m_way.empty())
        m_way.back().removed_any = true;
    return true;
}

// Keeps what went wrong first, with the entry of the current folder or the folder itself.
void tree_removal::note(int error_number, const char *name) {
    if (m_error.error_number != 0)
        return;
    m_error.error_number = error_number;
    std::string path = m_path;
    for (std::size_t depth = 1; depth < m_way.size(); ++depth)
        path.append("/").append(m_way[depth].name);
    if (name != nullptr && !m_way.empty())
        path.append("/").append(name);
    m_error.path = std::move(path);
}

// The same for a folder, which later passes leave alone.
void tree_removal::note_staying(int error_number, const char *name) {
    note(error_number, name);
    if (!m_way.empty())
        m_way.back().staying.insert(name);
}

}  // namespace

remove_tree_error remove_tree(const std::string &path, remove_tree_progress *progress,
                              int base) noexcept {
    remove_tree_error error;
    try {
        tree_removal(path, base, error, progress).run();
    } catch (const std::exception &) {  // no memory; nothing else is thrown here
        if (error.error_number == 0)
            error.error_number = ENOMEM;
    }
    if (error.error_number != 0 && error.path.empty()) {
        try {
            error.path = path;
        } catch (const std::exception &) {
            error.path.clear();  // the number has to do
        }
    }
    return error;
}
