// SPDX-License-Identifier: GPL-3.0-or-later
// Lists the places of the system and its user, and finds those that share a path's file system. The
// homes come from the environment, the account, and the account behind sudo or pkexec, because each
// one alone can be wrong: sudo may keep or change HOME, and a service has none.
#include "volume/file_system_keys.h"

#include <pwd.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

// The home of an account, by its name, else by its number. Empty if there is no such account.
static std::string account_home(const char *name, uid_t number) {
    std::vector<char> texts(1024);
    while (true) {
        passwd account = {};
        passwd *found = nullptr;
        const int result = name != nullptr
                               ? getpwnam_r(name, &account, texts.data(), texts.size(), &found)
                               : getpwuid_r(number, &account, texts.data(), texts.size(), &found);
        if (result == ERANGE && texts.size() < (size_t{1} << 20)) {
            texts.resize(texts.size() * 2);
            continue;
        }
        return result == 0 && found != nullptr && account.pw_dir != nullptr ? account.pw_dir : "";
    }
}

static void add_home(std::vector<volume_system_use> &places, const std::string &home) {
    const bool known = std::any_of(places.begin(), places.end(), [&](const volume_system_use &use) {
        return use.role == volume_system_role::home && use.place == home;
    });
    if (!home.empty() && home.front() == '/' && !known)
        places.push_back({volume_system_role::home, home});
}

static std::string environment(const char *name) {
    const char *value = std::getenv(name);
    return value == nullptr ? "" : value;
}

std::vector<volume_system_use> system_places_list() {
    std::vector<volume_system_use> places = {{volume_system_role::root, "/"}};
    add_home(places, environment("HOME"));
    add_home(places, account_home(nullptr, getuid()));
    const std::string sudo_user = environment("SUDO_USER");
    if (!sudo_user.empty())
        add_home(places, account_home(sudo_user.c_str(), 0));
    const std::string pkexec_user = environment("PKEXEC_UID");
    char *end = nullptr;
    const unsigned long number = std::strtoul(pkexec_user.c_str(), &end, 10);
    if (!pkexec_user.empty() && *end == '\0')
        add_home(places, account_home(nullptr, static_cast<uid_t>(number)));
    places.push_back({volume_system_role::program, running_program_name()});
    return places;
}

bool file_system_keys_meet(const file_system_keys &left, const file_system_keys &right) {
    return std::any_of(left.begin(), left.end(), [&](const std::string &key) {
        return std::find(right.begin(), right.end(), key) != right.end();
    });
}

bool volume_same_file_system(const std::string &first, const std::string &second, bool &same,
                             std::string &error) noexcept {
    file_system_keys first_keys;
    file_system_keys second_keys;
    if (!file_system_keys_of(first, first_keys, error) ||
        !file_system_keys_of(second, second_keys, error))
        return false;
    same = file_system_keys_meet(first_keys, second_keys);
    return true;
}

bool volume_find_system_uses(const std::string &path, std::vector<volume_system_use> &uses,
                             std::string &error) noexcept {
    uses.clear();
    file_system_keys keys;
    if (!file_system_keys_of(path, keys, error))
        return false;
    for (const volume_system_use &use : system_places_list()) {
        const bool program = use.role == volume_system_role::program;
        file_system_keys place_keys;
        if (file_system_keys_of_place(program ? running_program_link() : use.place, place_keys) &&
            file_system_keys_meet(keys, place_keys))
            uses.push_back(use);
    }
    return true;
}

std::string volume_system_use_text(const volume_system_use &use) {
    switch (use.role) {
        case volume_system_role::root:
            return "the system's root " + use.place;
        case volume_system_role::home:
            return "the home folder " + use.place;
        case volume_system_role::program:
            return "the running program " + use.place;
    }
    return {};
}
