// The panel in which a user chooses the volume to test, by choosing a folder on it.
#ifndef TROVIK_APP_FOLDER_PANEL_H
#define TROVIK_APP_FOLDER_PANEL_H

#include "app/file_panel.h"

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
