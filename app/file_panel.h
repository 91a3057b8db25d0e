// What the program's file panels share: one way of setting them up and of showing
// them.
#ifndef TROVIK_APP_FILE_PANEL_H
#define TROVIK_APP_FILE_PANEL_H

#include <QFileDialog>
#include <QFileIconProvider>
#include <QString>

// Tells folders from files, and no more. The library's own reads the beginning of
// every file for what kind it is, which a dying card may never answer.
class quiet_file_icons : public QFileIconProvider {
 public:
    using QFileIconProvider::icon;
    QIcon icon(const QFileInfo &entry) const override;
    QString type(const QFileInfo &entry) const override;
};

class file_panel : public QFileDialog {
 public:
    // A panel of the platform's kind, without creation of folders.
    file_panel(QWidget *parent, const QString &title);

    // The confirm button's label, shown as it is.
    void set_prompt(const QString &prompt);
    // Shown where the panel has room for it: assistive technology reads it, and it is
    // the panel's tool tip.
    void set_message(const QString &message);
    // Puts `name` into the name field as it stands.
    void set_name(const QString &name);

    // Shows the panel and waits. True when the user confirmed it.
    bool run();

 private:
    quiet_file_icons m_icons;
};

// The panel in which a user chooses the volume to test, by choosing a folder on it.
class folder_panel : public file_panel {
 public:
    // Opens where removable volumes are mounted, with the mounted volumes beside it.
    explicit folder_panel(QWidget *parent);

    // The folder that the panel was showing when it was confirmed.
    QString folder() const;

 protected:
    // A folder that is highlighted, or whose name was typed, is entered before the
    // panel is confirmed: who highlights a card and presses the button means the
    // card and not the folder that the card is mounted in.
    void accept() override;
};

#endif
