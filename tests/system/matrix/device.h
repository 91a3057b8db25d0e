// SPDX-License-Identifier: GPL-3.0-or-later
// A real file system on the bare simulated card: the card presents itself as one file,
// a loop device takes it, the file system sits on that. All of it goes away with the
// object, also when the simulator has died below.
#ifndef TROVIK_TESTS_SYSTEM_MATRIX_DEVICE_H
#define TROVIK_TESTS_SYSTEM_MATRIX_DEVICE_H

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "../cli_run.h"
#include "behaviours.h"
#include "deadline.h"
#include "support/volumes.h"

namespace system_tests {

constexpr std::uint64_t device_bytes = 32 * mib;

// Of one cell on a device; a minute less than CTest waits.
constexpr std::chrono::seconds device_cell_limit{120};

struct file_system {
    const char *name;
    std::vector<std::string> make;   // program and options; the image is appended
    std::vector<std::string> mount;  // program that stays in the foreground; empty: the system
    const char *type;
    bool has_checksums;  // answers changed data with an error
    bool has_few_files;  // room for files is given out when it is made: a few dozen

    friend void PrintTo(const file_system &kind, std::ostream *out) { *out << kind.name; }
};

// All that the matrix has a column for.
std::vector<file_system> file_systems();

// What is missing for it, or the empty text.
std::string missing_for(const file_system &kind);

// A formatted card, as a file, and the sectors on it that test data will take.
class formatted_image {
 public:
    formatted_image(const file_system &kind, const deadline &until);
    const std::string &path() const { return m_path; }
    // From a trial: the file system is filled once on a copy, without any simulator.
    const data_sectors &data() const { return m_data; }

 private:
    void find_data(const file_system &kind, const deadline &until);

    private_folder m_folder;
    std::string m_path;
    data_sectors m_data;
};

// A loop device on a file, as long as the object lives.
class loop_device {
 public:
    explicit loop_device(const std::string &file);
    ~loop_device();
    loop_device(const loop_device &) = delete;
    loop_device &operator=(const loop_device &) = delete;
    const std::string &path() const { return m_path; }
    // Drops its pages from the page cache.
    void forget() const;

 private:
    std::string m_path;  // filled by what opens the descriptor
    int m_fd;
};

class mounted_file_system : public volume {
 public:
    // Where the device cannot be mounted, is_mounted() says so and refusal() why.
    mounted_file_system(const file_system &kind, const loop_device &device);
    ~mounted_file_system() override;
    bool is_mounted() const { return m_refusal.empty(); }
    const std::string &refusal() const { return m_refusal; }

 private:
    void mount_by_system(const file_system &kind, const loop_device &device);
    void mount_by_program(const file_system &kind, const loop_device &device);

    std::string m_refusal;
    std::unique_ptr<child_process> m_server;  // of a file system in user space
};

// All that the file system holds back goes to the device, and comes from there again.
void settle(const volume &where, const loop_device &device);

// Sectors of the kept test files by the files' numbers, up to the first one that cannot be
// read, as the medium holds them now. Nothing when the folder or a file cannot be opened.
using judged_files = std::map<int, std::vector<sector_kind>>;
std::optional<judged_files> judge_kept_files(const volume &where, const loop_device &device);

// The report's counts are those of the kept files. In front of a sector that cannot be read, a
// file system in user space may lose up to `lost_by_error` sectors.
void expect_counts_of(const nlohmann::json &report, const std::optional<judged_files> &kept,
                      std::uint64_t lost_by_error = 0);

// It reads the device through a page cache, which fails whole folios, of up to 2 MiB.
std::uint64_t lost_by_error(const file_system &kind);

// Test files by their numbers; nothing when the folder cannot be read.
std::optional<std::vector<int>> listed_files(const volume &where);

// The sectors of the image that hold test data, by the data's position.
std::map<std::uint64_t, std::uint64_t> find_test_data(const std::string &image);

}  // namespace system_tests

#endif
