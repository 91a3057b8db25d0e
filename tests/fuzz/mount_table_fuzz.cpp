// SPDX-License-Identifier: GPL-3.0-or-later
// The mount table. The bytes after a "<" generate a table that a kernel could write, which must be
// read back exactly. Any other case is the text of the file.
#include <sys/mman.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "fuzz.h"
#include "volume/mount_table.h"

// A file in memory with this text.
class memory_file {
 public:
    explicit memory_file(const std::string &text) : m_fd(memfd_create("mountinfo", MFD_CLOEXEC)) {
        FUZZ_REQUIRE(m_fd >= 0);
        FUZZ_REQUIRE(write(m_fd, text.data(), text.size()) == static_cast<ssize_t>(text.size()));
    }
    ~memory_file() { close(m_fd); }
    memory_file(const memory_file &) = delete;
    memory_file &operator=(const memory_file &) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(m_fd); }

 private:
    int m_fd;
};

static std::vector<mount_entry> table_of(const std::string &text) {
    std::vector<mount_entry> table;
    std::string error;
    const memory_file file(text);
    if (!mount_table_read(file.path(), table, error)) {
        FUZZ_REQUIRE(!error.empty() && error.find('\n') == std::string::npos);
        table.clear();
    }
    return table;
}

static bool contains(const std::vector<mount_entry> &table, const mount_entry *entry) {
    return std::any_of(table.begin(), table.end(),
                       [entry](const mount_entry &each) { return &each == entry; });
}

// Whether a path without doubled slashes is the folder or lies in it.
static bool lies_in(const std::string &path, const std::string &folder) {
    return folder == "/" || path == folder ||
           (path.starts_with(folder) && path[folder.size()] == '/');
}

// ---- any text

static void check_text(const std::string &text) {
    const std::vector<mount_entry> table = table_of(text);
    for (const mount_entry &entry : table) {
        const mount_entry *const same_id = mount_table_find_id(table, entry.id);
        FUZZ_REQUIRE(contains(table, same_id) && same_id->id == entry.id);
        const mount_entry *const found = mount_table_find_path(table, entry.target);
        FUZZ_REQUIRE(found == nullptr || contains(table, found));
        mount_table_lies_in_remote(table, entry);
        mount_table_option(entry, "upperdir");
    }
    FUZZ_REQUIRE(mount_table_find_path(table, "relative") == nullptr);
    FUZZ_REQUIRE(mount_table_find_path(table, "") == nullptr);
}

// ---- a kernel's table

// A name as the kernel writes it: blanks, line feeds, backslashes and number signs in octal.
static std::string escaped(const std::string &name) {
    std::string text;
    for (const char character : name) {
        const auto byte = static_cast<uint8_t>(character);
        if (std::string(" \t\n\\#").find(character) != std::string::npos)
            text += {'\\', static_cast<char>('0' + (byte >> 6)),
                     static_cast<char>('0' + (byte >> 3 & 7)), static_cast<char>('0' + (byte & 7))};
        else
            text += character;
    }
    return text;
}

// One to three components, often the same ones, so that mounts cover each other.
static std::string made_path(fuzz_input &input) {
    std::string path;
    for (int left = input.byte() % 3; left >= 0; --left) {
        path += '/';
        const uint8_t what = input.byte();
        if (what < 0xC0) {
            path += std::string(1, static_cast<char>('a' + what % 3));
            continue;
        }
        for (int bytes = what % 8; bytes >= 0; --bytes) {
            const char byte = static_cast<char>(input.byte());
            path += byte == '/' || byte == '\0' ? '_' : byte;
        }
    }
    return path;
}

static std::vector<mount_entry> made_table(fuzz_input &input) {
    static const std::vector<std::string> types = {"ext4",    "exfat",  "nfs",
                                                   "fuseblk", "autofs", "fuse.sshfs"};
    std::vector<mount_entry> table(1);
    table[0].id = 1;
    table[0].folder = table[0].target = "/";
    table[0].file_system = table[0].source = "rootfs";
    table[0].options = "rw";
    for (int left = input.byte() % 12; left > 0; --left) {
        mount_entry entry;
        entry.id = table.back().id + 1;
        const mount_entry &parent = table[input.byte() % table.size()];
        entry.parent_id = parent.id;
        entry.device = makedev(input.byte(), input.byte());
        entry.folder = made_path(input);
        const std::string below = input.flag() ? made_path(input) : "";
        entry.target =
            below.empty() ? parent.target : (parent.target == "/" ? "" : parent.target) + below;
        entry.file_system = types[input.byte() % types.size()];
        entry.source = made_path(input);
        entry.read_only = input.flag();
        entry.options = entry.read_only ? "ro" : "rw";
        entry.options += ",upperdir=/u" + std::to_string(input.byte());
        table.push_back(entry);
    }
    return table;
}

static std::string text_of(const std::vector<mount_entry> &table) {
    std::string text;
    for (const mount_entry &entry : table)
        text += std::to_string(entry.id) + " " + std::to_string(entry.parent_id) + " " +
                std::to_string(major(entry.device)) + ":" + std::to_string(minor(entry.device)) +
                " " + escaped(entry.folder) + " " + escaped(entry.target) +
                " rw,relatime shared:1 - " + entry.file_system + " " + escaped(entry.source) + " " +
                entry.options + "\n";
    return text;
}

static void expect_same(const mount_entry &read, const mount_entry &made) {
    FUZZ_REQUIRE(read.id == made.id && read.parent_id == made.parent_id);
    FUZZ_REQUIRE(read.device == made.device);
    FUZZ_REQUIRE(read.folder == made.folder && read.target == made.target);
    FUZZ_REQUIRE(read.file_system == made.file_system && read.source == made.source);
    FUZZ_REQUIRE(read.read_only == made.read_only);
    const size_t comma = made.options.find(',');
    FUZZ_REQUIRE(mount_table_option(read, "upperdir") ==
                 (comma == std::string::npos ? "" : made.options.substr(comma + 10)));
}

// No mount on the found one covers the rest of the path, and each mount from the found one down to
// the root is the last one at its mount point and contains the path.
static void check_path(const std::vector<mount_entry> &table, const std::string &path) {
    const mount_entry *const found = mount_table_find_path(table, path);
    FUZZ_REQUIRE(contains(table, found));
    for (const mount_entry &entry : table) {
        const bool child =
            entry.parent_id == found->id && entry.target.size() >= found->target.size();
        FUZZ_REQUIRE(!child || !lies_in(path, entry.target));
    }
    const mount_entry *step = found;
    for (; step->id != 1; step = mount_table_find_id(table, step->parent_id)) {
        FUZZ_REQUIRE(lies_in(path, step->target));
        FUZZ_REQUIRE(std::none_of(table.begin(), table.end(), [step](const mount_entry &other) {
            return other.parent_id == step->parent_id && other.target == step->target &&
                   other.id > step->id;
        }));
    }
}

static void check_remote(const std::vector<mount_entry> &table, const mount_entry &entry) {
    bool remote = false;
    for (int id = entry.parent_id; id > 0; id = table[static_cast<size_t>(id) - 1].parent_id) {
        const mount_entry &over = table[static_cast<size_t>(id) - 1];
        const bool waits = over.file_system == "nfs" || over.file_system == "fuse.sshfs";
        remote = remote || (waits && over.target != "/");
    }
    FUZZ_REQUIRE(mount_table_lies_in_remote(table, entry) == remote);
}

static void check_kernels_table(fuzz_input &input) {
    const std::vector<mount_entry> made = made_table(input);
    const std::vector<mount_entry> table = table_of(text_of(made));
    FUZZ_REQUIRE(table.size() == made.size());
    for (size_t i = 0; i < table.size(); ++i) {
        expect_same(table[i], made[i]);
        check_remote(table, table[i]);
        check_path(table, made[i].target);
        check_path(table, made[i].target == "/" ? "/x" : made[i].target + "/a/b");
    }
    check_path(table, made_path(input));
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz_input input(data, size);
    if (size > 0 && data[0] == '<') {
        input.byte();
        check_kernels_table(input);
    } else {
        check_text(input.rest());
    }
    return 0;
}
