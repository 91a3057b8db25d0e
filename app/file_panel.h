// SPDX-License-Identifier: GPL-3.0-or-later
// The program's file panels: their common base and the panel that chooses a volume.
#ifndef TROVIK_APP_FILE_PANEL_H
#define TROVIK_APP_FILE_PANEL_H

#include <QFileDialog>
#include <QFileIconProvider>
#include <QString>

// Distinguishes only folders from files. Qt's own provider reads the beginning of every file, which
// a dying card may never answer.
class quiet_file_icons : public QFileIconProvider {
 public:
    using QFileIconProvider::icon;
    QIcon icon(const QFileInfo &entry) const override;
    QString type(const QFileInfo &entry) const override;
};

class file_panel : public QFileDialog {
 public:
    // The platform's panel where it has one. Cannot create folders.
    file_panel(QWidget *parent, const QString &title);

    // The confirm button's label, shown as it is.
    void set_prompt(const QString &prompt);
    // Sets the panel's accessible description and tool tip.
    void set_message(const QString &message);
    // Puts `name` into the name field unchanged.
    void set_name(const QString &name);

    // Shows the panel and waits. True when the user confirms it.
    bool run();

 private:
    quiet_file_icons m_icons;
};

// Chooses the volume to test by a folder on it.
class folder_panel : public file_panel {
 public:
    // Opens where removable volumes are mounted, with the mounted volumes in its side bar.
    explicit folder_panel(QWidget *parent);

    // The folder that the panel showed when the user confirmed it.
    QString folder() const;

 protected:
    // Enters a highlighted or typed folder first: a user who highlights a card means the card, not
    // the folder that it is mounted in.
    void accept() override;
};

#endif
