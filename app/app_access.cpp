// SPDX-License-Identifier: GPL-3.0-or-later
// Asks for access. In an application sandbox a program can use a file only after the user has named
// it in a file panel. Without a sandbox, access is granted at once.
#include <QDir>
#include <QFileInfo>
#include <QMainWindow>

#include "app/TRAppDelegate.h"
#include "app/access_panel.h"
#include "app/alert.h"
#include "app/platform.h"

bool TRAppDelegate::qop_sandbox_askUserForPermission_readWrite(const QString &name,
                                                               const QString &text) {
    if (!sandbox_is_active())
        return true;
    // Any confirmed choice counts as a grant.
    const std::optional<QString> path = access_panel_read_write(window, name, text);
    if (path)
        diagnostic_log("d: User has access granted for " + path->toStdString());
    return path.has_value();
}

bool TRAppDelegate::qop_sandbox_askUserForPermission_read(const QString &name,
                                                          const QString &text) {
    if (!sandbox_is_active())
        return true;
    const std::optional<QString> path = access_panel_read(window, name, text);
    if (path)
        diagnostic_log("d: User has granted access for " + path->toStdString());
    return path.has_value();
}

// The path with its symlinks resolved, or the clean path when that fails.
static QString resolved_path(const QString &path) {
    const QString resolved = QFileInfo(path).canonicalFilePath();
    return resolved.isEmpty() ? QDir::cleanPath(path) : resolved;
}

void TRAppDelegate::punchHoleInSandboxForFile(const QString &path) {
    QString wanted = path;
    for (;;) {
        if (!sandbox_is_active() || QFileInfo(wanted).isReadable())
            return;
        wanted = resolved_path(wanted);
        const QString request =
            "Sandbox requires user permision to read " + QFileInfo(wanted).fileName();
        const std::optional<QString> chosen = access_panel_file(window, request, wanted);
        if (!chosen) {
            alert_run(window,
                      {.style = alert_style::warning,
                       .message = QStringLiteral("Was denied access to required files."),
                       .informative = QStringLiteral("This software can not provide it's full "
                                                     "functionality without access to certain "
                                                     "files."),
                       .buttons = {QStringLiteral("Carry On")}});
            return;
        }
        if (resolved_path(*chosen) == wanted)
            return;
        // The request is used as a format here, so percent signs in it are expanded.
        alert_run(window, {.style = alert_style::warning,
                           .message = QStringLiteral("Wrong file was selected."),
                           .informative = QString::fromStdString(
                               format_expand_without_arguments(request.toStdString())),
                           .buttons = {QStringLiteral("Try Again")}});
    }
}

void TRAppDelegate::sandbox_printSandboxInfo() {
    diagnostic_log("d: -- printSandboxInfo");
    diagnostic_log("d: NSTemporaryDirectory: " + QDir::tempPath().toStdString());
    diagnostic_log("d: NSHomeDirectory     : " + QDir::homePath().toStdString());
}
