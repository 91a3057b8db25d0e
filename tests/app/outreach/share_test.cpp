// SPDX-License-Identifier: GPL-3.0-or-later
// Sharing of results: the menu below the button, its entries, and their failures.
#include <QApplication>
#include <QClipboard>
#include <QDesktopServices>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenu>
#include <QPushButton>
#include <QScreen>
#include <QTest>
#include <QWindow>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "app/controller_state.h"
#include "memory_volume.h"
#include "outreach_support.h"

using app_tests::answers;
using app_tests::button_titles;
using app_tests::expect_nothing_clipped;
using app_tests::link_catcher;
using app_tests::log_of;
using app_tests::memory_volume;
using app_tests::take_picture;
using app_tests::wait_until;
using app_tests::window_contents;
using test_support::missing_for_mounts;
using test_support::private_folder;

namespace fs = std::filesystem;

namespace {

const QString copy = "Copy to the Clipboard";
const QString compose = "Compose an E-Mail";
const QString save = "Save as a Text File...";
const QStringList no_link;

// The three items, in their order.
const QString sentence = "I just used trovik to test my SD card. ";
const QString page =
    "https://apps.example.org/ch/app/trovik-check-speed-integrity/id0000000000?l=en&mt=12";
const char *const summary =
    "Volume capacity (GB) 0.016 GB\nWrite speed average 12.34 MB/s\nRead speed average 5.60 MB/s\n";

std::string content_of(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// A window whose menu is opened and used, with a home folder of its own.
class share : public app_tests::window_test {
 protected:
    share() : m_home(qgetenv("HOME")) {
        qputenv("HOME", m_folder.path().c_str());
        fs::create_directory(path("Documents"));
        accept_disclaimer();
        QApplication::clipboard()->setText("before");
    }
    ~share() override { qputenv("HOME", m_home); }

    std::string path(const std::string &name) const { return m_folder.path() + "/" + name; }
    static std::vector<std::string> names_in(const std::string &folder) {
        std::vector<std::string> names;
        for (const auto &entry : fs::directory_iterator(folder))
            names.push_back(entry.path().filename());
        return names;
    }

    QPushButton *button() { return app().UI_shareButton_outlet; }

    // The open menu or nullptr.
    static QMenu *open_menu() {
        auto *const menu = dynamic_cast<QMenu *>(QApplication::activePopupWidget());
        return menu != nullptr && menu->isVisible() ? menu : nullptr;
    }

    static bool menu_is_gone() {
        return wait_until([] { return QApplication::activePopupWidget() == nullptr; });
    }

    static void choose_in(QMenu &menu, const QString &title) {
        for (QAction *action : menu.actions()) {
            if (action->text() == title) {
                QTest::mouseClick(&menu, Qt::LeftButton, {}, menu.actionGeometry(action).center());
                return;
            }
        }
        ADD_FAILURE() << "the menu has no entry " << title.toStdString();
    }

    // Presses the button and chooses this entry.
    void pick(const QString &title) {
        QTest::mousePress(button(), Qt::LeftButton);
        QMenu *const menu = open_menu();
        ASSERT_NE(menu, nullptr);
        choose_in(*menu, title);
        EXPECT_TRUE(menu_is_gone());
    }

    // Does this in the panel for saving. A panel that stays open is cancelled.
    void pick_save_and(answers &user, const std::function<void(QFileDialog &)> &act) {
        user.then([act](QDialog &dialog) {
            auto &panel = dynamic_cast<QFileDialog &>(dialog);
            QTimer::singleShot(app_tests::patience_ms, &panel, &QDialog::reject);
            act(panel);
        });
        pick(save);
    }

    static void confirm(QFileDialog &panel, const std::string &name) {
        auto *const field = panel.findChild<QLineEdit *>("fileNameEdit");
        ASSERT_NE(field, nullptr);
        field->setText(QString::fromStdString(name));
        QTest::keyClick(field, Qt::Key_Return);
    }

    static void cancel(QFileDialog &panel) {
        auto *const box = panel.findChild<QDialogButtonBox *>();
        ASSERT_NE(box, nullptr);
        QTest::mouseClick(box->button(QDialogButtonBox::Cancel), Qt::LeftButton);
    }

    static void then_told_not_saved(answers &user, const std::string &path,
                                    const std::string &reason) {
        user.then_press("OK", [=](QMessageBox &alert) {
            EXPECT_EQ(alert.text(), "The file could not be saved");
            EXPECT_EQ(alert.informativeText().toStdString(), path + ": " + reason);
            EXPECT_EQ(button_titles(alert), QStringList("OK"));
            EXPECT_EQ(alert.icon(), QMessageBox::Warning);
            expect_nothing_clipped(alert);
        });
    }

 private:
    const private_folder m_folder;
    const QByteArray m_home;
};

// No mail program exists.
class no_mail_program {
 public:
    no_mail_program() {
        QDesktopServices::setUrlHandler("mailto", &m_nobody, "aSlotThatIsNotThere");
    }
    ~no_mail_program() { QDesktopServices::unsetUrlHandler("mailto"); }
    no_mail_program(const no_mail_program &) = delete;
    no_mail_program &operator=(const no_mail_program &) = delete;

 private:
    QObject m_nobody;
};

}  // namespace

TEST_F(share, opens_menu_below_pressed_button) {
    EXPECT_EQ(open_menu(), nullptr);
    EXPECT_FALSE(button()->icon().isNull());
    QTest::mousePress(button(), Qt::LeftButton);
    QMenu *const menu = open_menu();
    ASSERT_NE(menu, nullptr);
    EXPECT_TRUE(button()->isDown());
    QStringList titles;
    for (const QAction *action : menu->actions()) {
        titles.append(action->text());
        EXPECT_TRUE(action->isEnabled());
    }
    EXPECT_EQ(titles, QStringList({copy, compose, save}));
    const QPoint corner = button()->mapToGlobal(QPoint(0, button()->height()));
    const QRect screen = button()->screen()->availableGeometry();
    if (screen.contains(QRect(corner, menu->size())))
        EXPECT_EQ(menu->pos(), corner);
    else
        EXPECT_TRUE(screen.contains(menu->geometry()));
    take_picture(*menu, "share-menu");
    QTest::keyClick(menu, Qt::Key_Escape);
    EXPECT_TRUE(menu_is_gone());
}

TEST_F(share, ignores_other_mouse_buttons_and_release) {
    QTest::mouseClick(button(), Qt::RightButton);
    QTest::mouseClick(button(), Qt::MiddleButton);
    EXPECT_EQ(open_menu(), nullptr);
    QTest::mousePress(button(), Qt::LeftButton);
    ASSERT_NE(open_menu(), nullptr);
    open_menu()->close();
    EXPECT_TRUE(menu_is_gone());
    QTest::mouseRelease(button(), Qt::LeftButton);
    EXPECT_EQ(open_menu(), nullptr);
}

TEST_F(share, does_nothing_without_chosen_entry) {
    const link_catcher catcher;
    const auto before = window_contents(*app().window);
    EXPECT_EQ(log_of([this] {
                  for (int i = 0; i < 3; ++i) {
                      QTest::mousePress(button(), Qt::LeftButton);
                      ASSERT_NE(open_menu(), nullptr);
                      QTest::keyClick(open_menu(), Qt::Key_Escape);
                      EXPECT_TRUE(menu_is_gone());
                      EXPECT_FALSE(button()->isDown());
                  }
              }),
              std::vector<std::string>());
    EXPECT_EQ(QApplication::clipboard()->text(), "before");
    EXPECT_EQ(catcher.links(), no_link);
    EXPECT_EQ(window_contents(*app().window), before);
    EXPECT_TRUE(wait_until([this] { return app().window->findChildren<QMenu *>().isEmpty(); }));
}

TEST_F(share, works_by_keyboard_alone) {
    const link_catcher catcher;
    button()->setFocus();
    for (int down = 1; down <= 2; ++down) {
        QTest::keyPress(button(), Qt::Key_Space);
        QMenu *const menu = open_menu();
        ASSERT_NE(menu, nullptr);
        for (int i = 0; i < down; ++i)
            QTest::keyClick(menu, Qt::Key_Down);
        QTest::keyClick(menu, Qt::Key_Return);
        EXPECT_TRUE(menu_is_gone());
        EXPECT_FALSE(button()->isDown());
    }
    EXPECT_EQ(QApplication::clipboard()->text(), sentence + page);
    EXPECT_EQ(catcher.links().size(), 1);
    answers user;
    user.then([](QDialog &dialog) {
        EXPECT_NE(dynamic_cast<QFileDialog *>(&dialog), nullptr);
        dialog.reject();
    });
    QTest::keyPress(button(), Qt::Key_Space);
    ASSERT_NE(open_menu(), nullptr);
    QTest::keyClick(open_menu(), Qt::Key_Up);
    QTest::keyClick(open_menu(), Qt::Key_Return);
}

TEST_F(share, shares_empty_summary_before_first_result) {
    pick(copy);
    EXPECT_EQ(
        QApplication::clipboard()->text(),
        "I just used trovik to test my SD card. "
        "https://apps.example.org/ch/app/trovik-check-speed-integrity/id0000000000?l=en&mt=12");
}

TEST_F(share, copies_three_items_in_order) {
    reportSummary = summary;
    pick(copy);
    EXPECT_EQ(QApplication::clipboard()->text(), sentence + summary + page);
    reportSummary += summary;
    pick(copy);
    EXPECT_EQ(QApplication::clipboard()->text(), sentence + summary + summary + page)
        << "all results so far, not those of the first time";
}

TEST_F(share, shares_summary_of_result) {
    uiState = UI_STATE_RESULT;
    tick();
    ASSERT_NE(reportSummary, "");
    pick(copy);
    EXPECT_EQ(QApplication::clipboard()->text(),
              sentence + QString::fromStdString(reportSummary) + page);
}

TEST_F(share, opens_in_window_without_sender) {
    reportSummary = summary;
    app().UI_shareButton(nullptr);
    QMenu *const menu = open_menu();
    ASSERT_NE(menu, nullptr);
    EXPECT_EQ(menu->pos(), app().window->mapToGlobal(QPoint(0, 0)));
    choose_in(*menu, copy);
    EXPECT_TRUE(menu_is_gone());
    EXPECT_EQ(QApplication::clipboard()->text(), sentence + summary + page);
}

TEST_F(share, composes_mail_without_recipient) {
    const link_catcher catcher;
    reportSummary = summary;
    pick(compose);
    EXPECT_EQ(
        catcher.links(),
        QStringList(
            "mailto:?subject=Result%20of%20trovik&body=I%20just%20used%20trovik%20to%20test%20"
            "my%20SD%20card.%20Volume%20capacity%20%28GB%29%200.016%20GB%0D%0AWrite%20speed%20"
            "average%2012.34%20MB%2Fs%0D%0ARead%20speed%20average%205.60%20MB%2Fs%0D%0Ahttps"
            "%3A%2F%2Fapps.example.org%2Fch%2Fapp%2Ftrovik-check-speed-integrity%2Fid00000000"
            "00%3Fl%3Den%26mt%3D12"));
}

TEST_F(share, escapes_mail_text) {
    const link_catcher catcher;
    reportSummary = "100% Zürich & \"co\" #1 + (a=b)?\n%0A\n";
    pick(compose);
    EXPECT_EQ(
        catcher.links().value(0).section("card.%20", 1).section("https", 0, 0),
        "100%25%20Z%C3%BCrich%20%26%20%22co%22%20%231%20%2B%20%28a%3Db%29%3F%0D%0A%250A%0D%0A");
}

TEST_F(share, reports_missing_mail_program) {
    const no_mail_program nobody;
    answers user;
    user.then_press("OK", [](QMessageBox &alert) {
        EXPECT_EQ(alert.text(), "No mail program could be opened");
        EXPECT_EQ(alert.informativeText(), "Copy the results to the clipboard instead.");
        EXPECT_EQ(button_titles(alert), QStringList("OK"));
        EXPECT_EQ(alert.icon(), QMessageBox::Warning);
    });
    pick(compose);
}

TEST_F(share, saves_under_suggested_name) {
    reportSummary = std::string("Zürich 100 %\n") + summary;
    answers user;
    pick_save_and(user, [this](QFileDialog &panel) {
        EXPECT_EQ(panel.windowTitle(), "Save the results");
        EXPECT_EQ(panel.acceptMode(), QFileDialog::AcceptSave);
        EXPECT_EQ(panel.directory().path().toStdString(), path("Documents"));
        auto *const field = panel.findChild<QLineEdit *>("fileNameEdit");
        ASSERT_NE(field, nullptr);
        EXPECT_EQ(field->text(), "trovik-results.txt");
        QTest::keyClick(field, Qt::Key_Return);
    });
    EXPECT_EQ(names_in(path("Documents")), std::vector<std::string>({"trovik-results.txt"}));
    EXPECT_EQ(content_of(path("Documents/trovik-results.txt")),
              (sentence + QString::fromStdString(reportSummary) + page).toStdString());
    EXPECT_EQ(QApplication::clipboard()->text(), "before");
}

TEST_F(share, saves_at_chosen_place_with_suffix) {
    answers user;
    fs::create_directory(path("else where"));
    const std::vector<std::pair<std::string, std::string>> names = {
        {"plain", "plain.txt"}, {"50 % of Zürich.md", "50 % of Zürich.md"}};
    for (const auto &[typed, stored] : names) {
        const std::string folder = path("else where/");
        const std::string typed_path = folder + typed;
        pick_save_and(user, [&](QFileDialog &panel) { confirm(panel, typed_path); });
        EXPECT_EQ(content_of(folder + stored), (sentence + page).toStdString()) << stored;
    }
    EXPECT_EQ(names_in(path("else where")).size(), 2U);
    EXPECT_EQ(names_in(path("Documents")).size(), 0U);
}

TEST_F(share, saves_nothing_when_cancelled) {
    answers user;
    pick_save_and(user, cancel);
    pick_save_and(user, [](QFileDialog &panel) { QTest::keyClick(&panel, Qt::Key_Escape); });
    EXPECT_EQ(names_in(path("Documents")).size(), 0U);
    EXPECT_EQ(QApplication::clipboard()->text(), "before");
}

TEST_F(share, replaces_file_with_consent_only) {
    const std::string file = path("Documents/trovik-results.txt");
    std::ofstream(file) << "precious";
    for (const bool consent : {false, true}) {
        answers user;
        user.then([&](QDialog &dialog) {
            auto &panel = dynamic_cast<QFileDialog &>(dialog);
            QTimer::singleShot(app_tests::patience_ms, &panel, &QDialog::reject);
            user.then([consent](QDialog &question) {
                auto &box = dynamic_cast<QMessageBox &>(question);
                box.button(consent ? QMessageBox::Yes : QMessageBox::No)->click();
            });
            confirm(panel, file);
            if (!consent) {
                EXPECT_TRUE(panel.isVisible());
                cancel(panel);
            }
        });
        pick(save);
        EXPECT_EQ(content_of(file), consent ? (sentence + page).toStdString() : "precious");
        EXPECT_EQ(names_in(path("Documents")).size(), 1U);
    }
}

TEST_F(share, reports_missing_folder) {
    const std::string file = path("none/results.txt");
    answers user;
    user.then([&](QDialog &dialog) {
        then_told_not_saved(user, file, "No such file or directory");
        confirm(dynamic_cast<QFileDialog &>(dialog), file);
    });
    pick(save);
    EXPECT_FALSE(fs::exists(path("none")));
}

TEST_F(share, reports_read_only_volume) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume where;
    where.set_read_only(true);
    const std::string file = where.file("results.txt");
    answers user;
    user.then([&](QDialog &dialog) {
        then_told_not_saved(user, file, "Read-only file system");
        confirm(dynamic_cast<QFileDialog &>(dialog), file);
    });
    pick(save);
    EXPECT_EQ(where.content(), std::vector<std::string>());
}

TEST_F(share, keeps_old_file_on_full_volume) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume where(64 * test_support::kib);
    const std::string file = where.file("results.txt");
    std::ofstream(file) << "precious";
    std::ofstream(where.file("rest")) << std::string(1 << 20, 'x');
    answers user;
    user.then([&](QDialog &dialog) {
        user.then([&](QDialog &question) {
            then_told_not_saved(user, file, "No space left on device");
            dynamic_cast<QMessageBox &>(question).button(QMessageBox::Yes)->click();
        });
        confirm(dynamic_cast<QFileDialog &>(dialog), file);
    });
    pick(save);
    EXPECT_EQ(content_of(file), "precious");
    EXPECT_EQ(where.content(), std::vector<std::string>({"rest", "results.txt"}));
}

TEST_F(share, saves_to_home_without_documents_folder) {
    fs::remove(path("Documents"));
    answers user;
    pick_save_and(user, [this](QFileDialog &panel) {
        EXPECT_EQ(panel.directory().path().toStdString(), path("").substr(0, path("").size() - 1));
        cancel(panel);
    });
    EXPECT_FALSE(fs::exists(path("Documents")));
}

// A test may end while the menu is open.
TEST_F(share, lets_alert_be_answered_over_open_menu) {
    QTest::mousePress(button(), Qt::LeftButton);
    ASSERT_NE(open_menu(), nullptr);
    answers user;
    user.then_press("Cancel", [](QMessageBox &) { EXPECT_EQ(open_menu(), nullptr); });
    app().feedback_ask(false);
    EXPECT_FALSE(button()->isDown());
}

// These tests send mouse events to the window system, which finds the widget below.
namespace {

class share_by_mouse : public share {
 protected:
    void press() { QTest::mousePress(handle(), Qt::LeftButton, {}, button_place()); }
    void release_at(const QPoint &place) {
        QTest::mouseRelease(handle(), Qt::LeftButton, {}, place);
    }
    void drag_to(const QPoint &place) {
        constexpr int steps = 5;
        for (int i = 1; i <= steps; ++i) {
            QTest::mouseMove(handle(), button_place() + (place - button_place()) * i / steps);
            QTest::qWait(20);
        }
    }
    QPoint button_place() { return button()->mapTo(app().window, button()->rect().center()); }
    QPoint place_of(const QMenu &menu, int entry) {
        const QPoint centre = menu.actionGeometry(menu.actions().at(entry)).center();
        return handle()->mapFromGlobal(menu.mapToGlobal(centre));
    }

 private:
    QWindow *handle() { return app().window->windowHandle(); }
};

}  // namespace

TEST_F(share_by_mouse, menu_stays_open_until_second_click) {
    press();
    EXPECT_TRUE(wait_until([] { return open_menu() != nullptr; }));
    release_at(button_place());
    QTest::qWait(50);
    ASSERT_NE(open_menu(), nullptr);
    press();
    release_at(button_place());
    EXPECT_TRUE(menu_is_gone());
    QTest::qWait(50);
    EXPECT_EQ(open_menu(), nullptr) << "it was opened once more";
    EXPECT_FALSE(button()->isDown());
}

TEST_F(share_by_mouse, chooses_entry_by_drag_from_button) {
    press();
    ASSERT_TRUE(wait_until([] { return open_menu() != nullptr; }));
    const QPoint entry = place_of(*open_menu(), 0);
    drag_to(entry);
    release_at(entry);
    EXPECT_TRUE(menu_is_gone());
    EXPECT_EQ(QApplication::clipboard()->text(), sentence + page);
    EXPECT_FALSE(button()->isDown());
}
