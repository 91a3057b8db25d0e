#include "volume/volume_list.h"

#include <algorithm>

static int rank_of(const volume_info &info) {
    if (!info.removable.has_value()) {
        return 1;
    }
    return *info.removable ? 0 : 2;
}

void volume_list_sort(std::vector<volume_info> &volumes) {
    std::sort(volumes.begin(), volumes.end(),
              [](const volume_info &left, const volume_info &right) {
                  return rank_of(left) != rank_of(right) ? rank_of(left) < rank_of(right)
                                                         : left.root < right.root;
              });
}
