#include "app/file_panel.h"

#include <QDialogButtonBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTextDocument>

#include "app/modal_question.h"
#include "app/platform.h"

QIcon quiet_file_icons::icon(const QFileInfo &entry) const {
    return icon(entry.isDir() ? Folder : File);
}

QString quiet_file_icons::type(const QFileInfo &entry) const {
    return entry.isDir() ? QStringLiteral("Folder") : QStringLiteral("File");
}

file_panel::file_panel(QWidget *parent, const QString &title) : QFileDialog(parent, title) {
    setOption(QFileDialog::DontUseNativeDialog, !platform_has_file_panels());
    // Which also keeps the panel from offering to make folders.
    setOption(QFileDialog::ReadOnly);
    setIconProvider(&m_icons);
    resize(900, 560);
}

void file_panel::set_prompt(const QString &prompt) {
    // An "&" would become an underline.
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
