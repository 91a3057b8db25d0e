// Linux desktops: no application sandbox that grants access by panels, and the
// mount table's own paths.
#include "app/platform.h"

#include <pwd.h>
#include <unistd.h>

#include <QFileInfo>
#include <QStringList>

bool platform_is_sandboxed() {
    return false;
}

bool platform_has_file_panels() {
    return false;
}

QString platform_media_folder() {
    const passwd *const account = getpwuid(getuid());
    const QString user = account != nullptr ? QString::fromLocal8Bit(account->pw_name) : QString();
    // Where udisks mounts for a user, on most systems and on Debian's family; then
    // the places for everybody.
    for (const QString &folder :
         {"/run/media/" + user, "/media/" + user, QStringLiteral("/media"), QStringLiteral("/mnt")})
        if (QFileInfo(folder).isDir())
            return folder;
    return QStringLiteral("/");
}

std::string platform_volume_path(const volume_info &volume) {
    return volume.root;
}
