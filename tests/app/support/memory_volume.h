// A volume in memory under a name of the test's choice, which can be locked and
// unlocked, covered by another one and taken away while the window knows it.
#ifndef TROVIK_TESTS_APP_MEMORY_VOLUME_H
#define TROVIK_TESTS_APP_MEMORY_VOLUME_H

#include <cstdint>
#include <string>
#include <vector>

#include "../system/mounts.h"

namespace app_tests {

class memory_volume : public system_tests::volume {
 public:
    explicit memory_volume(std::uint64_t bytes = 8 * system_tests::mib,
                           const std::string &name = "volume");
    ~memory_volume() override;

    void set_read_only(bool read_only) const;
    // Puts another volume over this one, at the same place.
    void cover();
    // Puts a new one of the same size in its place.
    void mount_anew();
    // What is left then is the empty folder that it was mounted on.
    void take_away();

    // Makes the folders on the way as well.
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
