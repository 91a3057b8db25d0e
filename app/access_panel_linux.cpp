// SPDX-License-Identifier: GPL-3.0-or-later
// The panel for read access, built on Qt's panel.
#include <QAbstractButton>
#include <QAbstractItemView>
#include <QDialogButtonBox>
#include <QFileInfo>
#include <QItemSelectionModel>
#include <QLineEdit>

#include "app/access_panel.h"
#include "app/file_panel.h"

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
        if (has_file())
            done(QDialog::Accepted);
        else
            QFileDialog::accept();
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

std::optional<QString> access_panel_read_titled(QWidget *parent, const QString &title,
                                                const QString &prompt, const QString &name) {
    read_access_panel panel(parent, title);
    panel.set_prompt(prompt);
    panel.set_name(name);
    if (!panel.run() || panel.selectedFiles().isEmpty())
        return std::nullopt;
    return panel.selectedFiles().constFirst();
}
