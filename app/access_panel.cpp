// Titles and prompts keep their doubled blanks: they are how users and manuals know
// these panels.
#include "app/access_panel.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileInfo>
#include <QItemSelectionModel>
#include <QLineEdit>
#include <QUrl>

#include "app/file_panel.h"
#include "app/platform.h"

namespace {

// Chooses a folder or a file. Qt's panel has no mode for both: in its mode for folders it
// shows files but refuses them.
class read_access_panel : public file_panel {
 public:
    read_access_panel(QWidget *parent, const QString &title) : file_panel(parent, title) {
        setFileMode(QFileDialog::Directory);
        setOption(QFileDialog::ShowDirsOnly, false);
        // Connected after Qt's own slots, which switch the button off for a file.
        if (auto *const field = findChild<QLineEdit *>(QStringLiteral("fileNameEdit")))
            connect(field, &QLineEdit::textChanged, this, [this] { enable_for_file(); });
        for (const auto *view : findChildren<QAbstractItemView *>())
            if (view->selectionModel() != nullptr)
                connect(view->selectionModel(), &QItemSelectionModel::selectionChanged, this,
                        [this] { enable_for_file(); });
    }

 protected:
    void accept() override {
        if (platform_has_file_panels() || !has_file())
            QFileDialog::accept();
        else
            QDialog::accept();
    }

 private:
    bool has_file() const {
        const QStringList selected = selectedFiles();
        return selected.size() == 1 && QFileInfo(selected.constFirst()).isFile();
    }

    void enable_for_file() {
        auto *const box = findChild<QDialogButtonBox *>();
        if (box == nullptr || !has_file())
            return;
        for (QAbstractButton *button : box->buttons())
            if (box->buttonRole(button) == QDialogButtonBox::AcceptRole)
                button->setEnabled(true);
    }
};

}  // namespace

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
    read_access_panel panel(parent, title);
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
