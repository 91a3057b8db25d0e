// Titles and prompts keep their doubled blanks: they are how users and manuals know
// these panels.
#include "app/access_panel.h"

#include <QDir>
#include <QUrl>

#include "app/file_panel.h"
#include "app/platform.h"

static QString quoted(const QString &words, const QString &text) {
    return QStringLiteral("%1 \"%2\"").arg(words, text);
}

static std::optional<QString> run(file_panel &panel) {
    if (!panel.run() || panel.selectedFiles().isEmpty())
        return std::nullopt;
    return panel.selectedFiles().constFirst();
}

std::optional<QString> access_panel_read_write(QWidget *parent, const QString &name,
                                               const QString &text) {
    file_panel panel(parent, quoted(QStringLiteral("Authorize RW for "), text));
    panel.set_message(
        quoted(QStringLiteral("You are about to authorize read and write access to"), text));
    panel.setAcceptMode(QFileDialog::AcceptSave);
    panel.setFileMode(QFileDialog::AnyFile);
    // Nothing is written by naming a file here, so nothing is overwritten. The panel
    // has no way of hiding an extension, and shows it.
    panel.setOption(QFileDialog::DontConfirmOverwrite);
    panel.set_prompt(QStringLiteral("Authorize RW"));
    panel.set_name(name);
    return run(panel);
}

std::optional<QString> access_panel_read(QWidget *parent, const QString &name,
                                         const QString &text) {
    const QString title = quoted(QStringLiteral("You are about to authorize read access to"), text);
    file_panel panel(parent, title);
    // One panel chooses either files or folders: folders are chosen, files are shown.
    panel.setFileMode(QFileDialog::Directory);
    panel.setOption(QFileDialog::ShowDirsOnly, false);
    panel.set_prompt(
        QStringLiteral("%1 %2").arg(QStringLiteral("Authorize read access to "), text));
    panel.set_name(name);
    return run(panel);
}

std::optional<QString> access_panel_file(QWidget *parent, const QString &request,
                                         const QString &start) {
    file_panel panel(parent, request);
    panel.set_prompt(QStringLiteral("Allow in Sandbox"));
    panel.setFilter(QDir::AllDirs | QDir::Files | QDir::NoDotAndDotDot);
    // The window library's own panel knows local addresses only.
    const QUrl place(start);
    if (platform_has_file_panels() || place.isLocalFile())
        panel.setDirectoryUrl(place);
    panel.setFileMode(QFileDialog::ExistingFile);
    return run(panel);
}
