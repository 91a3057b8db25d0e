// SPDX-License-Identifier: GPL-3.0-or-later
// macOS: the system's panels, which grant access in the sandbox, and volumes by
// their names below /Volumes.
#include "app/platform.h"

#import <AppKit/AppKit.h>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/param.h>

#include <QWidget>
#include <cstdlib>

#include "app/access_panel.h"
#include "app/alert.h"

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

// The system has no path through a descriptor. A folder that is replaced in between is not noticed.
std::string platform_access_to_open_folder(int folder) {
    return platform_path_of_open_folder(folder);
}

std::optional<std::vector<std::string>> platform_mount_points() {
    const int count = getfsstat(nullptr, 0, MNT_NOWAIT);
    if (count < 0)
        return std::nullopt;
    // Volumes may be mounted between the two calls.
    std::vector<struct statfs> mounts(static_cast<std::size_t>(count) + 8);
    const int found = getfsstat(
        mounts.data(), static_cast<int>(mounts.size() * sizeof(struct statfs)), MNT_NOWAIT);
    if (found < 0)
        return std::nullopt;
    std::vector<std::string> targets;
    targets.reserve(mounts.size());
    for (int i = 0; i < found; ++i)
        targets.emplace_back(mounts[static_cast<std::size_t>(i)].f_mntonname);
    return targets;
}

std::string platform_volume_path(const volume_info &volume) {
    return "/Volumes/" + (volume.name.empty() ? std::string("(null)") : volume.name);
}

void share_picker_show(QWidget *anchor, const QRect &place, const QStringList &items) {
    NSMutableArray *const texts = [NSMutableArray array];
    for (const QString &item : items)
        [texts addObject:item.toNSString()];
    NSView *const view = reinterpret_cast<NSView *>(anchor->window()->winId());
    const QRect in_window(anchor->mapTo(anchor->window(), place.topLeft()), place.size());
    const CGFloat y = view.isFlipped ? in_window.y()
                                     : view.bounds.size.height - in_window.y() - in_window.height();
    NSSharingServicePicker *const picker =
        [[[NSSharingServicePicker alloc] initWithItems:texts] autorelease];
    [picker showRelativeToRect:NSMakeRect(in_window.x(), y, in_window.width(), in_window.height())
                        ofView:view
                 preferredEdge:NSMinYEdge];
}

std::optional<QString> access_panel_read_titled(QWidget * /*parent*/, const QString &title,
                                                const QString &prompt, const QString &name) {
    const modal_question question;
    NSOpenPanel *const panel = [NSOpenPanel openPanel];
    panel.title = title.toNSString();
    panel.prompt = prompt.toNSString();
    panel.nameFieldStringValue = name.toNSString();
    panel.canCreateDirectories = NO;
    panel.canChooseDirectories = YES;
    panel.canChooseFiles = YES;
    panel.extensionHidden = NO;
    if ([panel runModal] != NSModalResponseOK)
        return std::nullopt;
    return QString::fromNSString(panel.URL.path);
}
