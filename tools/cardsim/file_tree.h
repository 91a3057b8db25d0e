// SPDX-License-Identifier: GPL-3.0-or-later
/* The card's folders and files: names, types, owners, times. They are kept in memory beside
 * the card and never fail: only contents are simulated. Follows POSIX for names and links;
 * the kernel checks access rights. Not thread-safe. */
#ifndef TROVIK_TOOLS_CARDSIM_FILE_TREE_H
#define TROVIK_TOOLS_CARDSIM_FILE_TREE_H

#include <sys/stat.h>
#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tools/cardsim/file_contents.h"
#include "tools/cardsim/written_page.h"

namespace cardsim {

constexpr uint64_t ROOT_NODE = 1;
constexpr size_t LONGEST_NAME = 255;

/* Attributes of a new node. */
struct node_facts {
    mode_t mode = 0;  // type and permissions
    uid_t uid = 0;
    gid_t gid = 0;
    dev_t device = 0;
    std::string link_target = {};
};

struct node {
    uint64_t number = 0;
    node_facts facts;
    uint64_t parent = 0;   // folders only
    nlink_t links = 0;     // 0: unlinked
    uint64_t lookups = 0;  // lookup count, as FUSE defines it
    uint64_t opens = 0;
    timespec accessed{};
    timespec modified{};
    timespec changed{};
    std::map<std::string, uint64_t, std::less<>> children;  // folders only
    file_contents contents;                                 // regular files only
    written_page page;                                      // regular files only

    bool is_folder() const { return S_ISDIR(facts.mode); }
    bool is_file() const { return S_ISREG(facts.mode); }
};

struct folder_entry {
    std::string name;
    uint64_t number;
    mode_t mode;
};

class file_tree {
 public:
    /* room must outlive the tree. */
    file_tree(card_room &room, const node_facts &root, timespec now);

    /* Null if there is no such node. */
    node *find(uint64_t number);

    /* These return 0 or an error number, and set *found / *made only with 0. A node's address
     * is valid until it is forgotten. */
    int lookup(uint64_t folder, std::string_view name, node **found);
    int make(uint64_t folder, std::string_view name, node_facts facts, timespec now, node **made);
    int remove_file(uint64_t folder, std::string_view name, timespec now);
    int remove_folder(uint64_t folder, std::string_view name, timespec now);

    /* replace: may replace a node of the new name. */
    int rename(uint64_t from, std::string_view name, uint64_t to, std::string_view new_name,
               bool replace, timespec now);

    /* Swaps both nodes. */
    int exchange(uint64_t from, std::string_view name, uint64_t to, std::string_view other,
                 timespec now);

    /* All entries of a folder, "." and ".." first. */
    int list(uint64_t folder, std::vector<folder_entry> *entries);

    /* An unlinked file keeps its sectors while it is open, and its node until the kernel
     * forgets it. */
    void opened(node &file) { ++file.opens; }
    void closed(node &file);
    void forget(uint64_t number, uint64_t lookups);

    uint64_t count() const { return m_nodes.size(); }

 private:
    int folder_for_change(uint64_t folder, std::string_view name, node **parent);
    int check_replacing(const node &moving, const node &replaced) const;
    void attach(node &parent, std::string_view name, node &child, timespec now);
    void detach(node &parent, std::string_view name, node &child, timespec now);
    void unname(node &child, timespec now);
    void collect(node &candidate);

    card_room &m_room;
    std::unordered_map<uint64_t, std::unique_ptr<node>> m_nodes;
    uint64_t m_last_number = ROOT_NODE;
};

}  // namespace cardsim

#endif
