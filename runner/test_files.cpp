// SPDX-License-Identifier: GPL-3.0-or-later
// The engine knows its files by name alone. This looks closer before anything is removed: the
// engine never wrote a folder, a link or a second name of a number.
#include "runner/test_files.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>

#include "model/utils.h"
#include "report/printable.h"
#include "report/run_snapshot.h"
#include "volume/posix.h"

// More ranges do not fit one readable line.
constexpr size_t runs_shown = 5;

// More entries do not fit one readable line.
constexpr size_t foreign_shown = 5;

static const char *kind_text(mode_t mode) {
    if (S_ISDIR(mode))
        return "a folder";
    if (S_ISLNK(mode))
        return "a link";
    if (S_ISFIFO(mode))
        return "a FIFO";
    if (S_ISSOCK(mode))
        return "a socket";
    return "a device";
}

// The engine's name of the file with this number. Numbers wrap at 32 bits.
static std::string name_of(int number) {
    return run_snapshot_file_name(static_cast<int>(static_cast<std::uint32_t>(number) - 1U));
}

static std::string path_of(const std::string &folder, const std::string &name) {
    return std::string(folder).append("/").append(name);
}

// The test file's name that differs from `name` in case alone; empty without one.
static std::string own_name_in_other_case(const std::string &name, int start_index) {
    std::string lower = name;
    std::replace(lower.begin(), lower.end(), 'F', 'f');
    if (lower == name || is_my_file(lower.c_str()) == 0)
        return {};
    const int number = number_from_filename(lower.c_str());
    return number > start_index && name_of(number) == lower ? lower : "";
}

// A case-insensitive file system opens a user's 1.FFF as 1.fff, although it lists no 1.fff.
static void add_other_cases(const std::string &folder, const std::vector<std::string> &names,
                            int start_index, test_file_scan &scan) {
    for (const std::string &name : names) {
        const std::string own = own_name_in_other_case(name, start_index);
        struct stat status = {};
        if (!std::binary_search(scan.numbers.begin(), scan.numbers.end(),
                                number_from_filename(own.c_str())) &&
            lstat(path_of(folder, own).c_str(), &status) == 0)
            scan.foreign.push_back("'" + printable_text(name) + "' (this volume takes it for " +
                                   own + ")");
    }
}

// Looks at one entry that the engine would list.
static void add_entry(const std::string &folder, const char *name, test_file_scan &scan) {
    const int number = number_from_filename(name);
    const std::string shown = "'" + printable_text(name) + "'";
    if (const std::string own = name_of(number); own != name) {
        scan.foreign.push_back(shown + " (another name for " + own + ")");
        return;
    }
    struct stat status = {};
    if (lstat(path_of(folder, name).c_str(), &status) != 0) {
        // Gone since it was listed, or unreadable: the engine reports it later.
        scan.numbers.push_back(number);
        return;
    }
    if (!S_ISREG(status.st_mode)) {
        scan.foreign.push_back(shown + " (" + kind_text(status.st_mode) + ")");
        return;
    }
    scan.numbers.push_back(number);
    scan.bytes += static_cast<std::uint64_t>(status.st_size);
}

bool test_files_scan(const std::string &folder, int start_index, test_file_scan &scan,
                     std::string &error) {
    scan = {};
    const unique_dir directory(opendir(folder.c_str()));
    int reason = directory ? 0 : errno;
    std::vector<std::string> other_cases;
    if (directory) {
        errno = 0;
        while (const dirent *entry = readdir(directory.get())) {
            if (!own_name_in_other_case(entry->d_name, start_index).empty())
                other_cases.emplace_back(entry->d_name);
            if (is_my_file(entry->d_name) != 0 && number_from_filename(entry->d_name) > start_index)
                add_entry(folder, entry->d_name, scan);
            errno = 0;
        }
        reason = errno;
    }
    std::sort(scan.numbers.begin(), scan.numbers.end());
    add_other_cases(folder, other_cases, start_index, scan);
    std::sort(scan.foreign.begin(), scan.foreign.end());
    if (reason == 0)
        return true;
    error = "'" + printable_text(folder) + "' cannot be read: " + std::strerror(reason);
    return false;
}

bool test_files_names(const std::string &folder, int start_index, std::vector<std::string> &names,
                      std::string &error) noexcept try {
    names.clear();
    test_file_scan scan;
    const bool complete = test_files_scan(folder, start_index, scan, error);
    for (const int number : scan.numbers)
        names.push_back(name_of(number));
    return complete;
} catch (const std::exception &failure) {
    error = failure.what();
    return false;
}

std::string test_files_text(const std::vector<int> &numbers) {
    std::string text;
    size_t runs = 0;
    for (size_t first = 0; first < numbers.size();) {
        size_t last = first;
        while (last + 1 < numbers.size() && numbers[last + 1] == numbers[last] + 1)
            ++last;
        if (++runs > runs_shown)
            return text + " and " + std::to_string(numbers.size() - first) + " more";
        if (!text.empty())
            text += ", ";
        text += name_of(numbers[first]);
        if (last > first)
            text += " to " + name_of(numbers[last]);
        first = last + 1;
    }
    return text;
}

std::optional<std::string> test_files_text_of(const std::string &folder, int start_index) {
    test_file_scan scan;
    std::string error;
    if (!test_files_scan(folder, start_index, scan, error))
        return std::nullopt;
    return test_files_text(scan.numbers);
}

std::string test_files_foreign_text(const std::vector<std::string> &foreign) {
    std::string text;
    for (size_t i = 0; i < foreign.size() && i < foreign_shown; ++i)
        text += (i == 0 ? "" : ", ") + foreign[i];
    if (foreign.size() > foreign_shown)
        text += " and " + std::to_string(foreign.size() - foreign_shown) + " more";
    return text;
}
