// Four actions on the chosen volume, each on a marker of a fixed name in its root.
// They change at most a button's title: what is there is for the display to say,
// which looks again on every tick.
//
// The three ways of telling errors from successes differ on purpose, and so do the
// two spellings of the logging's folder: the display looks in ".fseventsd".
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QMainWindow>
#include <QPushButton>
#include <cerrno>

#include "app/TRAppDelegate.h"
#include "app/controller_state.h"
#include "app/diagnostic_log.h"
#include "app/removal.h"
#include "report/error_text.h"

// A marker's folder and its name in it.
struct TRMarker {
    std::string folder;
    std::string name;
    std::string path() const { return folder + "/" + name; }
};

// The folder, open, unless it is a link: what lies behind one is not the volume's. -1
// with the reason in errno.
static int open_folder(const std::string &folder) {
    return open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
}

// Of the marker itself: one that is a link is there, wherever it leads.
static bool marker_exists(const TRMarker &marker) {
    const int folder = open_folder(marker.folder);
    struct stat found = {};
    const bool exists =
        folder >= 0 && fstatat(folder, marker.name.c_str(), &found, AT_SYMLINK_NOFOLLOW) == 0;
    if (folder >= 0)
        close(folder);
    return exists;
}

static std::string error_or_null(const remove_tree_error &error) {
    if (error.error_number == 0)
        return "(null)";
    return error.path + ": " + error_text(error.error_number);
}

// A new file, never through a link, never over something that has come meanwhile.
static void create_marker(const TRMarker &marker) {
    const int folder = open_folder(marker.folder);
    const int fd = folder < 0 ? -1
                              : openat(folder, marker.name.c_str(),
                                       O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
    if (fd < 0)
        diagnostic_log("ERR: Can't write file " + marker.path() + ".");
    for (const int opened : {fd, folder}) {
        if (opened >= 0)
            close(opened);
    }
}

// Access, and the volume that the user is looking at: another card at its place has
// other folders to lose.
bool TRAppDelegate::mayChangeMarker(const TRMarker &marker) {
    return qop_sandbox_askUserForPermission_readWrite(QString::fromStdString(marker.name),
                                                      QString::fromStdString(marker.path())) &&
           isStillChosenVolume();
}

// Removes the marker when it `exists`, makes it otherwise. The title tells what the
// button would do next, whether or not this has worked.
void TRAppDelegate::toggleMarker(const TRMarker &marker, bool exists, QPushButton *button,
                                 const QString &titleWithout, const QString &titleWith) {
    if (exists) {
        const remove_tree_error error = removal_run(window, marker.path());
        if (error.error_number != 0)
            diagnostic_log("ERR: " + error_or_null(error));
        button->setText(titleWithout);
    } else {
        create_marker(marker);
        button->setText(titleWith);
    }
}

void TRAppDelegate::UI_disableSpotlight() {
    const TRMarker marker{selectedVolumePath, ".metadata_never_index"};
    if (!mayChangeMarker(marker))
        return;
    toggleMarker(marker, marker_exists(marker), UI_disableSpotlight_outlet,
                 QStringLiteral("Disable Spotlight"), QStringLiteral("Enable Spotlight"));
}

void TRAppDelegate::UI_disableLogging() {
    const TRMarker marker{selectedVolumePath + "/.fseventd", "no_log"};
    if (!mayChangeMarker(marker))
        return;
    const bool exists = marker_exists(marker);
    diagnostic_log(exists ? "d: b 1" : "d: b 0");
    toggleMarker(marker, exists, UI_disableLogging_outlet, QStringLiteral("Disable Logging"),
                 QStringLiteral("Enable Logging"));
}

void TRAppDelegate::removeMarkerFolder(const std::string &name) {
    const TRMarker marker{selectedVolumePath, name};
    if (!mayChangeMarker(marker)) {
        diagnostic_log("not OK");
        return;
    }
    diagnostic_log("OK");
    const bool exists = marker_exists(marker);
    diagnostic_log(exists ? "d: b: 1" : "d: b: 0");
    if (!exists)
        return;
    const remove_tree_error error = removal_run(window, marker.path());
    // Somebody else was faster, which is no error. Success has none to name.
    if (error.error_number != ENOENT)
        diagnostic_log("ERR: " + error_or_null(error));
    diagnostic_log("-4");
}

void TRAppDelegate::UI_removeSpotlightData() {
    removeMarkerFolder(".Spotlight-V100");
}

void TRAppDelegate::UI_removeTrashesData() {
    removeMarkerFolder(".Trashes");
}
