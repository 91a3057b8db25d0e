// SPDX-License-Identifier: GPL-3.0-or-later
// A volume in memory that a test can lock, unlock, cover and unmount while the window uses it.
#ifndef TROVIK_TESTS_APP_MEMORY_VOLUME_H
#define TROVIK_TESTS_APP_MEMORY_VOLUME_H

#include <cstdint>
#include <string>
#include <vector>

#include "support/volumes.h"

namespace app_tests {

class memory_volume : public test_support::volume {
 public:
    explicit memory_volume(std::uint64_t bytes = 8 * test_support::mib,
                           const std::string &name = "volume");
    ~memory_volume() override;

    void set_read_only(bool read_only) const;
    // Mounts another volume over this one.
    void cover();
    // Mounts a new one of the same size in its place.
    void mount_anew();
    // Unmounts it; its empty mount point is left.
    void take_away();

    // Creates the folders above, too.
    void make_folder(const std::string &name) const;
    void make_file(const std::string &name) const;
    void remove(const std::string &name) const;
    // Names of all that the folder holds now, sorted.
    std::vector<std::string> content() const;

 private:
    const std::uint64_t m_bytes;
    int m_covers = 0;
};

}  // namespace app_tests

#endif
