// SPDX-License-Identifier: GPL-3.0-or-later
// Operates the panels that ask for access.
#ifndef TROVIK_TESTS_APP_ACCESS_SUPPORT_H
#define TROVIK_TESTS_APP_ACCESS_SUPPORT_H

#include <QFileDialog>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <filesystem>
#include <fstream>

#include "app/platform.h"
#include "support.h"
#include "support/volumes.h"

namespace app_tests {

using lines = std::vector<std::string>;

inline QLineEdit *name_field(QFileDialog &panel) {
    return panel.findChild<QLineEdit *>("fileNameEdit");
}

// Types a path into the name field as a user does, and confirms.
inline void choose_by_name(QFileDialog &panel, const std::string &path) {
    QLineEdit *const field = name_field(panel);
    ASSERT_NE(field, nullptr);
    field->setFocus();
    field->clear();
    QTest::keyClicks(field, QString::fromStdString(path));
    QTest::keyClick(field, Qt::Key_Return);
    // A panel that is still open fails its test and ends.
    QTimer::singleShot(patience_ms, &panel, &QDialog::reject);
}

inline bool has_button(const QFileDialog &panel, const QString &text) {
    for (const QPushButton *button : panel.findChildren<QPushButton *>()) {
        if (button->text() == text && button->isVisible())
            return true;
    }
    return false;
}

class access_grant : public window_test {
 protected:
    access_grant() {
        std::filesystem::create_directory(m_folder.path() + "/elsewhere");
        sandbox_override(true);
    }

    // Does this in the next panel.
    static void then_in_panel(answers &user, const std::function<void(QFileDialog &)> &act) {
        user.then([act](QDialog &dialog) {
            auto *const panel = dynamic_cast<QFileDialog *>(&dialog);
            if (panel == nullptr) {
                ADD_FAILURE() << "an alert was shown instead of a panel";
                dialog.reject();
                return;
            }
            act(*panel);
        });
    }

    std::string path(const std::string &name) const { return m_folder.path() + "/" + name; }
    QString qpath(const std::string &name) const { return QString::fromStdString(path(name)); }
    void make(const std::string &name) const {
        EXPECT_TRUE(std::ofstream(path(name)) << "content");
    }

 private:
    const test_support::private_folder m_folder;
};

}  // namespace app_tests

#endif
