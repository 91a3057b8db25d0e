// SPDX-License-Identifier: GPL-3.0-or-later
// Linux desktops have no application sandbox that grants access by panels. Volumes have the paths
// of the mount table.
#include "app/platform.h"

#include <pwd.h>
#include <unistd.h>

#include <QFileInfo>
#include <QStringList>
#include <filesystem>

#include "volume/mount_table.h"
#include "volume/mounted_volume.h"

bool platform_is_sandboxed() {
    return false;
}

bool platform_has_file_panels() {
    return false;
}

QString platform_media_folder() {
    const passwd *const account = getpwuid(getuid());
    const QString user = account != nullptr ? QString::fromLocal8Bit(account->pw_name) : QString();
    // Where udisks mounts for a user, on most systems and on Debian's family, then the common
    // places.
    for (const QString &folder :
         {"/run/media/" + user, "/media/" + user, QStringLiteral("/media"), QStringLiteral("/mnt")})
        if (QFileInfo(folder).isDir())
            return folder;
    return QStringLiteral("/");
}

std::string platform_access_to_open_folder(int folder) {
    return "/proc/self/fd/" + std::to_string(folder);
}

std::string platform_path_of_open_folder(int folder) {
    std::error_code unreadable;
    return std::filesystem::read_symlink(platform_access_to_open_folder(folder), unreadable);
}

std::optional<std::vector<std::string>> platform_mount_points() {
    std::vector<mount_entry> table;
    std::string error;
    if (!mount_table_read(mount_table_path, table, error))
        return std::nullopt;
    std::vector<std::string> targets;
    targets.reserve(table.size());
    for (const mount_entry &entry : table)
        targets.push_back(entry.target);
    return targets;
}

std::string platform_volume_path(const volume_info &volume) {
    return volume.root;
}
