// SPDX-License-Identifier: GPL-3.0-or-later
/* Names, folders and the life of nodes. */
#include "tools/cardsim/file_tree.h"

#include <gtest/gtest.h>

#include "test_bytes.h"

using cardsim::node;
using cardsim::ROOT_NODE;

namespace {

constexpr timespec NOW{100, 0};
constexpr timespec LATER{200, 0};

class file_tree : public testing::Test {
 protected:
    node *make(uint64_t folder, const char *name, mode_t mode = S_IFREG | 0644) {
        node *made = nullptr;
        EXPECT_EQ(m_tree.make(folder, name, {.mode = mode}, NOW, &made), 0) << name;
        return made;
    }
    node *look(uint64_t folder, const char *name) {
        node *found = nullptr;
        return m_tree.lookup(folder, name, &found) == 0 ? found : nullptr;
    }
    void fill(node &file, size_t bytes) {
        uint64_t accepted = 0;
        ASSERT_EQ(file.contents.write(m_room, 0, test_bytes(bytes, 1), &accepted), 0);
    }

    cardsim::card_room m_room{
        cardsim::card({.real_sectors = 100}, cardsim::sector_store_in_memory()),
        cardsim::sector_allocator(100)};
    cardsim::file_tree m_tree{m_room, {.mode = S_IFDIR | 0755}, NOW};
};

}  // namespace

TEST_F(file_tree, finds_names_in_their_folders) {
    node *folder = make(ROOT_NODE, "folder", S_IFDIR | 0755);
    node *file = make(folder->number, "d\xC3\xA4tei \xE2\x98\x83");
    EXPECT_EQ(look(folder->number, "d\xC3\xA4tei \xE2\x98\x83"), file);
    EXPECT_EQ(look(ROOT_NODE, "d\xC3\xA4tei \xE2\x98\x83"), nullptr);
    node *found = nullptr;
    EXPECT_EQ(m_tree.lookup(file->number, "x", &found), ENOTDIR);
    EXPECT_EQ(m_tree.lookup(999, "x", &found), ENOENT);
}

TEST_F(file_tree, refuses_existing_and_long_names) {
    make(ROOT_NODE, "a");
    node *made = nullptr;
    EXPECT_EQ(m_tree.make(ROOT_NODE, "a", {.mode = S_IFREG}, NOW, &made), EEXIST);
    EXPECT_EQ(m_tree.make(ROOT_NODE, std::string(256, 'x'), {.mode = S_IFREG}, NOW, &made),
              ENAMETOOLONG);
    EXPECT_EQ(m_tree.make(ROOT_NODE, std::string(255, 'x'), {.mode = S_IFREG}, NOW, &made), 0);
}

TEST_F(file_tree, removed_file_frees_sectors_at_once) {
    node *file = make(ROOT_NODE, "a");
    file->lookups = 1;
    fill(*file, 5000);
    EXPECT_EQ(m_room.space.taken(), 10U);
    EXPECT_EQ(m_tree.remove_file(ROOT_NODE, "a", LATER), 0);
    EXPECT_EQ(m_room.space.taken(), 0U);
    const uint64_t number = file->number;
    EXPECT_NE(m_tree.find(number), nullptr) << "the kernel still knows it";
    m_tree.forget(number, 1);
    EXPECT_EQ(m_tree.find(number), nullptr);
}

TEST_F(file_tree, open_file_keeps_contents_until_closed) {
    node *file = make(ROOT_NODE, "a");
    file->lookups = 1;
    m_tree.opened(*file);
    fill(*file, 5000);
    EXPECT_EQ(m_tree.remove_file(ROOT_NODE, "a", LATER), 0);
    EXPECT_EQ(m_room.space.taken(), 10U);
    m_tree.closed(*file);
    EXPECT_EQ(m_room.space.taken(), 0U);
}

TEST_F(file_tree, named_file_survives_kernel_forgetting_it) {
    node *file = make(ROOT_NODE, "a");
    file->lookups = 3;
    m_tree.forget(file->number, 3);
    EXPECT_EQ(look(ROOT_NODE, "a"), file);
}

TEST_F(file_tree, removes_only_empty_folders_and_only_as_folders) {
    node *folder = make(ROOT_NODE, "folder", S_IFDIR | 0755);
    make(folder->number, "file");
    EXPECT_EQ(m_tree.remove_folder(ROOT_NODE, "folder", NOW), ENOTEMPTY);
    EXPECT_EQ(m_tree.remove_file(ROOT_NODE, "folder", NOW), EISDIR);
    EXPECT_EQ(m_tree.remove_folder(folder->number, "file", NOW), ENOTDIR);
    EXPECT_EQ(m_tree.remove_file(folder->number, "file", NOW), 0);
    EXPECT_EQ(m_tree.find(ROOT_NODE)->links, 3U);
    EXPECT_EQ(m_tree.remove_folder(ROOT_NODE, "folder", NOW), 0);
    EXPECT_EQ(m_tree.find(ROOT_NODE)->links, 2U);
    EXPECT_EQ(m_tree.count(), 1U);
}

TEST_F(file_tree, renaming_moves_replaces_and_frees) {
    node *folder = make(ROOT_NODE, "folder", S_IFDIR | 0755);
    node *file = make(ROOT_NODE, "a");
    node *other = make(folder->number, "b");
    fill(*other, 512);
    EXPECT_EQ(m_tree.rename(ROOT_NODE, "a", folder->number, "b", false, NOW), EEXIST);
    EXPECT_EQ(m_tree.rename(ROOT_NODE, "a", folder->number, "b", true, NOW), 0);
    EXPECT_EQ(look(folder->number, "b"), file);
    EXPECT_EQ(look(ROOT_NODE, "a"), nullptr);
    EXPECT_EQ(m_room.space.taken(), 0U);
    EXPECT_EQ(m_tree.rename(folder->number, "b", folder->number, "b", true, NOW), 0);
    EXPECT_EQ(look(folder->number, "b"), file);
}

TEST_F(file_tree, renaming_refuses_other_types_and_own_subfolders) {
    node *folder = make(ROOT_NODE, "folder", S_IFDIR | 0755);
    node *inner = make(folder->number, "inner", S_IFDIR | 0755);
    make(ROOT_NODE, "a");
    EXPECT_EQ(m_tree.rename(ROOT_NODE, "a", ROOT_NODE, "folder", true, NOW), EISDIR);
    EXPECT_EQ(m_tree.rename(ROOT_NODE, "folder", ROOT_NODE, "a", true, NOW), ENOTDIR);
    EXPECT_EQ(m_tree.rename(ROOT_NODE, "folder", inner->number, "x", true, NOW), EINVAL);
    make(inner->number, "file");
    make(ROOT_NODE, "second", S_IFDIR | 0755);
    EXPECT_EQ(m_tree.rename(ROOT_NODE, "second", folder->number, "inner", true, NOW), ENOTEMPTY);
    EXPECT_EQ(m_tree.rename(folder->number, "inner", ROOT_NODE, "second", true, NOW), 0);
    EXPECT_EQ(inner->parent, ROOT_NODE);
    EXPECT_EQ(folder->links, 2U);
}

TEST_F(file_tree, exchanging_swaps_two_nodes) {
    node *folder = make(ROOT_NODE, "folder", S_IFDIR | 0755);
    node *file = make(ROOT_NODE, "a");
    node *inner = make(folder->number, "inner", S_IFDIR | 0755);
    EXPECT_EQ(m_tree.exchange(ROOT_NODE, "a", folder->number, "inner", NOW), 0);
    EXPECT_EQ(look(ROOT_NODE, "a"), inner);
    EXPECT_EQ(look(folder->number, "inner"), file);
    EXPECT_EQ(inner->parent, ROOT_NODE);
    EXPECT_EQ(folder->links, 2U);
}

TEST_F(file_tree, lists_dots_and_every_entry_with_type) {
    make(ROOT_NODE, "b");
    make(ROOT_NODE, "a", S_IFIFO | 0600);
    std::vector<cardsim::folder_entry> entries;
    ASSERT_EQ(m_tree.list(ROOT_NODE, &entries), 0);
    ASSERT_EQ(entries.size(), 4U);
    EXPECT_EQ(entries[0].name, ".");
    EXPECT_EQ(entries[1].name, "..");
    EXPECT_EQ(entries[2].name, "a");
    EXPECT_TRUE(S_ISFIFO(entries[2].mode));
    EXPECT_TRUE(S_ISREG(entries[3].mode));
}

TEST_F(file_tree, changes_update_times_of_folder) {
    make(ROOT_NODE, "a");
    EXPECT_EQ(m_tree.remove_file(ROOT_NODE, "a", LATER), 0);
    EXPECT_EQ(m_tree.find(ROOT_NODE)->modified.tv_sec, LATER.tv_sec);
}
