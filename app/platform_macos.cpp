// macOS: the system's panels, which grant access in the sandbox, and volumes by
// their names below /Volumes.
#include "app/platform.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/param.h>

#include <cstdlib>

bool platform_is_sandboxed() {
    return std::getenv("APP_SANDBOX_CONTAINER_ID") != nullptr;
}

bool platform_has_file_panels() {
    return true;
}

QString platform_media_folder() {
    return QStringLiteral("/Volumes");
}

std::string platform_path_of_open_folder(int folder) {
    std::string path(MAXPATHLEN, '\0');
    if (fcntl(folder, F_GETPATH, path.data()) != 0)
        return {};
    return path.c_str();
}

// The system has no path through a descriptor; its own path is the nearest.
std::string platform_access_to_open_folder(int folder) {
    return platform_path_of_open_folder(folder);
}

std::optional<std::vector<std::string>> platform_mount_points() {
    const int count = getfsstat(nullptr, 0, MNT_NOWAIT);
    if (count < 0)
        return std::nullopt;
    // Room for a few that are mounted meanwhile.
    std::vector<struct statfs> mounts(static_cast<std::size_t>(count) + 8);
    const int found = getfsstat(
        mounts.data(), static_cast<int>(mounts.size() * sizeof(struct statfs)), MNT_NOWAIT);
    if (found < 0)
        return std::nullopt;
    std::vector<std::string> targets;
    for (int i = 0; i < found; ++i)
        targets.emplace_back(mounts[static_cast<std::size_t>(i)].f_mntonname);
    return targets;
}

std::string platform_volume_path(const volume_info &volume) {
    return "/Volumes/" + (volume.name.empty() ? std::string("(null)") : volume.name);
}
