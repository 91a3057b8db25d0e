// SPDX-License-Identifier: GPL-3.0-or-later
// The command "info". A property that the system does not tell is called unknown, never guessed.
#include <cstdio>

#include "cli/commands.h"
#include "report/number_text.h"
#include "report/printable.h"
#include "volume/volume.h"

static const char *yes_or_no(const std::optional<bool> &value) {
    if (!value)
        return "unknown";
    return *value ? "yes" : "no";
}

static std::string bytes_text(const std::optional<std::uint64_t> &bytes) {
    if (!bytes)
        return "unknown";
    return size_text_from_bytes(*bytes) + " (" + std::to_string(*bytes) + " Bytes)";
}

static void print_volume(const volume_info &volume) {
    const auto print = [](const char *label, const std::string &value) {
        std::printf("  %-12s %s\n", label, printable_text(value).c_str());
    };
    std::printf("%s\n", printable_text(volume.root).c_str());
    print("Name", volume.name);
    print("Capacity", bytes_text(volume.capacity_bytes));
    print("Free", bytes_text(volume.free_bytes));
    if (!volume.capacity_error.empty())
        print("Error", volume.capacity_error);
    print("File system", volume.file_system);
    print("Source", volume.source);
    print("Identifier", volume.identifier);
    print("Read only", yes_or_no(volume.read_only));
    print("Removable", yes_or_no(volume.removable));
    print("Ejectable", yes_or_no(volume.ejectable));
    print("Internal", yes_or_no(volume.internal));
}

static int print_one(const std::string &path) {
    volume_info volume;
    std::string error;
    if (!volume_describe(path, volume, error)) {
        std::fprintf(stderr, "trovik-cli: %s\n", printable_text(error).c_str());
        return EXIT_STATUS_REFUSED;
    }
    print_volume(volume);
    std::vector<volume_system_use> uses;
    if (volume_find_system_uses(path, uses, error)) {
        for (const volume_system_use &use : uses)
            std::printf("  Holds %s: a test refuses it.\n",
                        printable_text(volume_system_use_text(use)).c_str());
    }
    return 0;
}

int info_run(const std::string &path) {
    if (!path.empty())
        return print_one(path);
    std::vector<volume_info> volumes;
    std::string error;
    if (!volume_list(volumes, error)) {
        std::fprintf(stderr, "trovik-cli: %s\n", printable_text(error).c_str());
        return EXIT_STATUS_NOT_TESTED;
    }
    if (volumes.empty())
        std::printf("No mounted volume could be tested: insert a card and mount it.\n");
    for (const volume_info &volume : volumes)
        print_volume(volume);
    return 0;
}
