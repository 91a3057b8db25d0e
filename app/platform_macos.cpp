// macOS: the system's panels, which grant access in the sandbox, and volumes by
// their names below /Volumes.
#include <cstdlib>

#include "app/platform.h"

bool platform_is_sandboxed() {
    return std::getenv("APP_SANDBOX_CONTAINER_ID") != nullptr;
}

bool platform_has_file_panels() {
    return true;
}

QString platform_media_folder() {
    return QStringLiteral("/Volumes");
}

std::string platform_volume_path(const volume_info &volume) {
    return "/Volumes/" + (volume.name.empty() ? std::string("(null)") : volume.name);
}
