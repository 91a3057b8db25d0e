// The order in which volumes are offered.
#include "volume/volume_list.h"

#include <gtest/gtest.h>

TEST(volume_list, begins_with_what_can_be_removed_and_ends_with_what_cannot) {
    std::vector<volume_info> volumes;
    for (const auto &[root, removable] : std::vector<std::pair<std::string, std::optional<bool>>>{
             {"/a", false}, {"/d", true}, {"/b", std::nullopt}, {"/c", true}}) {
        volumes.emplace_back();
        volumes.back().root = root;
        volumes.back().removable = removable;
    }
    volume_list_sort(volumes);
    std::string roots;
    for (const volume_info &volume : volumes)
        roots += volume.root;
    EXPECT_EQ(roots, "/c/d/b/a");
}
