#include "support.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace volume_tests {

int kernel_mount_id(const std::string &path) {
    struct statx status = {};
    if (statx(AT_FDCWD, path.c_str(), 0, STATX_MNT_ID, &status) != 0 ||
        (status.stx_mask & STATX_MNT_ID) == 0 || status.stx_mnt_id == 0) {
        return -1;
    }
    return static_cast<int>(status.stx_mnt_id);
}

dev_t node_number(const std::string &node) {
    struct stat status = {};
    EXPECT_EQ(stat(node.c_str(), &status), 0) << node;
    return status.st_rdev;
}

volume_info described(const std::string &path) {
    volume_info info;
    std::string error;
    EXPECT_TRUE(volume_describe(path, info, error)) << error;
    return info;
}

bool is_root(const std::string &path) {
    bool answer = false;
    std::string error;
    EXPECT_TRUE(volume_is_mount_root(path, answer, error)) << error;
    return answer;
}

}  // namespace volume_tests
