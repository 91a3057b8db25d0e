// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/file_panel.h"

#include <QFileInfo>
#include <QLineEdit>
#include <QPushButton>
#include <QTextDocument>
#include <QUrl>

#include "app/alert.h"
#include "app/platform.h"
#include "volume/volume.h"

QIcon quiet_file_icons::icon(const QFileInfo &entry) const {
    return icon(entry.isDir() ? Folder : File);
}

QString quiet_file_icons::type(const QFileInfo &entry) const {
    return entry.isDir() ? QStringLiteral("Folder") : QStringLiteral("File");
}

file_panel::file_panel(QWidget *parent, const QString &title) : QFileDialog(parent, title) {
    setOption(QFileDialog::DontUseNativeDialog, !platform_has_file_panels());
    // Also removes the button that creates folders.
    setOption(QFileDialog::ReadOnly);
    setIconProvider(&m_icons);
    resize(900, 560);
}

void file_panel::set_prompt(const QString &prompt) {
    // Qt takes a single "&" for a shortcut.
    setLabelText(QFileDialog::Accept, QString(prompt).replace("&", "&&"));
}

void file_panel::set_message(const QString &message) {
    setAccessibleDescription(message);
    setToolTip(Qt::convertFromPlainText(message));
}

void file_panel::set_name(const QString &name) {
    if (auto *const field = findChild<QLineEdit *>(QStringLiteral("fileNameEdit")))
        field->setText(name);
    else
        selectFile(name);
}

bool file_panel::run() {
    const modal_question question;
    return exec() == QDialog::Accepted;
}

// Removable volumes come first, as in volume_list.
static QList<QUrl> mounted_volumes() {
    std::vector<volume_info> volumes;
    std::string error;
    if (!volume_list(volumes, error))
        diagnostic_log("ERR: " + error);
    QList<QUrl> urls;
    for (const volume_info &volume : volumes)
        urls.append(QUrl::fromLocalFile(QString::fromStdString(platform_volume_path(volume))));
    return urls;
}

folder_panel::folder_panel(QWidget *parent)
    : file_panel(parent, QStringLiteral("Choose a volume")) {
    set_prompt(QStringLiteral("Choose root folder of a device /Volumes/<your-media>"));
    setFileMode(QFileDialog::Directory);
    setOption(QFileDialog::ShowDirsOnly);
    setDirectory(platform_media_folder());
    setSidebarUrls(mounted_volumes());
    if (auto *const side_bar = findChild<QWidget *>(QStringLiteral("sidebar")))
        side_bar->setMinimumWidth(fontMetrics().averageCharWidth() * 24);
}

QString folder_panel::folder() const {
    // The system's panel does not call accept(). It returns the highlighted folder, or else the
    // one that it shows.
    if (platform_has_file_panels() && !selectedFiles().isEmpty())
        return selectedFiles().constFirst();
    return directory().absolutePath();
}

void folder_panel::accept() {
    const QStringList selected = selectedFiles();
    if (!selected.isEmpty() && QFileInfo(selected.constFirst()).isDir()) {
        setDirectory(selected.constFirst());
        // The name belongs to the folder above.
        if (auto *const field = findChild<QLineEdit *>(QStringLiteral("fileNameEdit")))
            field->clear();
    }
    QFileDialog::accept();
}
