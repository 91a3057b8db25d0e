// SPDX-License-Identifier: GPL-3.0-or-later
// The panel that chooses a volume, used by typing, highlighting or confirming.
#include "app/file_panel.h"

#include <QAbstractItemView>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <filesystem>
#include <fstream>

#include "app/alert.h"
#include "app/platform.h"
#include "volume/volume.h"
#include "volume_selection_support.h"

using app_tests::answers;
using app_tests::error_capture;
using app_tests::lines;
using app_tests::memory_volume;
using app_tests::wait_until;
using test_support::card;
using test_support::missing_for_cards;
using test_support::missing_for_mounts;
using test_support::private_folder;

namespace {

// The parts of the panel that a user sees.
QLineEdit *name_field(QFileDialog &panel) {
    return panel.findChild<QLineEdit *>("fileNameEdit");
}

QPushButton *confirm_button(QFileDialog &panel) {
    for (QPushButton *button : panel.findChildren<QPushButton *>()) {
        if (button->text().contains("<your-media>"))
            return button;
    }
    return nullptr;
}

QAbstractItemView *list_of(QFileDialog &panel) {
    for (const char *name : {"listView", "treeView"}) {
        auto *const list = panel.findChild<QAbstractItemView *>(name);
        if (list != nullptr && list->isVisible())
            return list;
    }
    return nullptr;
}

// The entry of the list with this name, once the panel has read its folder.
QModelIndex entry_of(QAbstractItemView &list, const QString &name) {
    QModelIndex found;
    wait_until([&] {
        for (int row = 0; row < list.model()->rowCount(list.rootIndex()); ++row) {
            const QModelIndex entry = list.model()->index(row, 0, list.rootIndex());
            if (entry.data().toString() == name)
                found = entry;
        }
        return found.isValid();
    });
    return found;
}

void highlight(QFileDialog &panel, const QString &name) {
    QAbstractItemView *const list = list_of(panel);
    ASSERT_NE(list, nullptr);
    const QModelIndex entry = entry_of(*list, name);
    ASSERT_TRUE(entry.isValid()) << name.toStdString();
    list->scrollTo(entry);
    QTest::mouseClick(list->viewport(), Qt::LeftButton, Qt::NoModifier,
                      list->visualRect(entry).center());
}

void confirm(QFileDialog &panel) {
    QPushButton *const button = confirm_button(panel);
    ASSERT_NE(button, nullptr);
    EXPECT_TRUE(button->isEnabled());
    QTest::mouseClick(button, Qt::LeftButton);
}

void type(QFileDialog &panel, const std::string &text) {
    QLineEdit *const field = name_field(panel);
    ASSERT_NE(field, nullptr);
    field->setFocus();
    field->clear();
    QTest::keyClicks(field, QString::fromStdString(text));
    QTest::keyClick(field, Qt::Key_Return);
}

class file_panel_use : public testing::Test {
 protected:
    file_panel_use() : m_panel(nullptr) {
        for (const char *name : {"card/DCIM", "other"})
            std::filesystem::create_directories(m_folder.path() + "/" + name);
    }

    // Shows the panel in the private folder and does this in it. True when it was confirmed.
    bool run(std::function<void(QFileDialog &)> act) {
        m_panel.setDirectory(QString::fromStdString(m_folder.path()));
        answers user;
        user.then([act](QDialog &dialog) {
            act(dynamic_cast<QFileDialog &>(dialog));
            // A panel that is still open fails its test and ends.
            QTimer::singleShot(app_tests::patience_ms, &dialog, &QDialog::reject);
        });
        return m_panel.run();
    }

    std::string below(const std::string &name) const { return m_folder.path() + "/" + name; }
    std::string taken() const { return m_panel.folder().toStdString(); }
    folder_panel &panel() { return m_panel; }
    const std::string &folder() const { return m_folder.path(); }

 private:
    const private_folder m_folder;
    folder_panel m_panel;
};

}  // namespace

TEST_F(file_panel_use, has_its_prompt) {
    EXPECT_EQ(panel().labelText(QFileDialog::Accept),
              "Choose root folder of a device /Volumes/<your-media>");
    run([](QFileDialog &shown) {
        QPushButton *const button = confirm_button(shown);
        ASSERT_NE(button, nullptr);
        EXPECT_EQ(button->text(), "Choose root folder of a device /Volumes/<your-media>");
        EXPECT_GE(button->width(), button->fontMetrics().horizontalAdvance(button->text()));
        shown.reject();
    });
}

TEST_F(file_panel_use, shows_folders_only) {
    ASSERT_TRUE(std::ofstream(below("a file")) << "content");
    run([](QFileDialog &shown) {
        QAbstractItemView *const list = list_of(shown);
        ASSERT_NE(list, nullptr);
        EXPECT_TRUE(entry_of(*list, "card").isValid());
        EXPECT_TRUE(entry_of(*list, "other").isValid());
        EXPECT_EQ(list->model()->rowCount(list->rootIndex()), 2);
        shown.reject();
    });
}

TEST_F(file_panel_use, creates_no_folders) {
    EXPECT_TRUE(panel().testOption(QFileDialog::ReadOnly));
}

TEST_F(file_panel_use, opens_at_removable_volumes) {
    const folder_panel fresh(nullptr);
    EXPECT_EQ(fresh.directory().absolutePath(), platform_media_folder());
}

TEST_F(file_panel_use, lists_volumes_in_side_bar) {
    const folder_panel fresh(nullptr);
    QStringList places;
    for (const QUrl &url : fresh.sidebarUrls())
        places.append(url.toLocalFile());
    std::vector<volume_info> volumes;
    std::string error;
    ASSERT_TRUE(volume_list(volumes, error)) << error;
    QStringList expected;
    for (const volume_info &volume : volumes)
        expected.append(QString::fromStdString(volume.root));
    EXPECT_EQ(places, expected);
}

TEST_F(file_panel_use, takes_shown_folder_without_highlight) {
    EXPECT_TRUE(run([](QFileDialog &shown) { confirm(shown); }));
    EXPECT_EQ(taken(), folder());
}

TEST_F(file_panel_use, enters_highlighted_folder_when_confirmed) {
    EXPECT_TRUE(run([](QFileDialog &shown) {
        highlight(shown, "card");
        confirm(shown);
    }));
    EXPECT_EQ(taken(), below("card"));
}

TEST_F(file_panel_use, takes_entered_folder) {
    EXPECT_TRUE(run([&](QFileDialog &shown) {
        shown.setDirectory(QString::fromStdString(below("card")));
        confirm(shown);
    }));
    EXPECT_EQ(taken(), below("card"));
}

TEST_F(file_panel_use, takes_highlight_in_entered_folder) {
    EXPECT_TRUE(run([&](QFileDialog &shown) {
        shown.setDirectory(QString::fromStdString(below("card")));
        highlight(shown, "DCIM");
        confirm(shown);
    }));
    EXPECT_EQ(taken(), below("card/DCIM"));
}

TEST_F(file_panel_use, takes_typed_path) {
    EXPECT_TRUE(run([&](QFileDialog &shown) { type(shown, below("card/DCIM")); }));
    EXPECT_EQ(taken(), below("card/DCIM"));
}

TEST_F(file_panel_use, takes_typed_name) {
    EXPECT_TRUE(run([](QFileDialog &shown) { type(shown, "other"); }));
    EXPECT_EQ(taken(), below("other"));
}

TEST_F(file_panel_use, cancels_by_escape) {
    EXPECT_FALSE(run([](QFileDialog &shown) { QTest::keyClick(&shown, Qt::Key_Escape); }));
}

TEST_F(file_panel_use, is_question_while_open) {
    EXPECT_FALSE(modal_question::is_open());
    run([](QFileDialog &shown) {
        EXPECT_TRUE(modal_question::is_open());
        EXPECT_TRUE(shown.isModal());
        shown.reject();
    });
    EXPECT_FALSE(modal_question::is_open());
}

namespace {

class choosing_in_the_panel : public app_tests::volume_selection {
 protected:
    // Presses the button, and does this in the panel.
    void open(std::function<void(QFileDialog &)> act) {
        answers user;
        user.then([act](QDialog &dialog) { act(dynamic_cast<QFileDialog &>(dialog)); });
        app().UI_open_device_outlet->click();
    }
};

}  // namespace

TEST_F(choosing_in_the_panel, takes_volume_of_folder) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume volume;
    volume.make_folder("DCIM");
    const error_capture log;
    open([&](QFileDialog &panel) { type(panel, volume.file("DCIM")); });
    ASSERT_EQ(log.lines().size(), 12U);
    EXPECT_EQ(log.lines().at(0), "d: myURL: file://" + volume.path() + "/DCIM/");
    EXPECT_EQ(selectedVolumePath, volume.path());
}

TEST_F(choosing_in_the_panel, takes_highlighted_volume) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume volume;
    open([&](QFileDialog &panel) {
        panel.setDirectory(QString::fromStdString(volume.private_path()));
        highlight(panel, "volume");
        confirm(panel);
    });
    EXPECT_EQ(selectedVolumePath, volume.path());
}

TEST_F(choosing_in_the_panel, changes_nothing_when_cancelled) {
    const error_capture log;
    open([](QFileDialog &panel) { panel.reject(); });
    EXPECT_EQ(log.lines(), lines());
    expect_nothing_chosen();
    tick();
    EXPECT_EQ(app().UI_volumesName->text(), "-");
}
