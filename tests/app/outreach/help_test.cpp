// SPDX-License-Identifier: GPL-3.0-or-later
// The window's help: each topic by its button.
#include <QApplication>
#include <QClipboard>
#include <QCryptographicHash>
#include <QLabel>
#include <QMainWindow>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QTest>
#include <functional>

#include "app/alert.h"
#include "app/controller_state.h"
#include "outreach_support.h"

using app_tests::answers;
using app_tests::button_named;
using app_tests::button_titles;
using app_tests::expect_nothing_clipped;
using app_tests::log_of;
using app_tests::press_key;
using app_tests::window_contents;

namespace {

struct topic {
    const char *button;
    const char *title;
    int length;
    const char *sha256;
};

constexpr topic topics[] = {
    {"UI_showInfo_outlet", "Info", 1725,
     "b99ff57781eb264a733620876ea6c3b1f45537d116d17593d2fb9fb176a992b0"},
    {"helpHiddenFiles", "How to show hidden Files and Folders within Finder", 431,
     "de750169f23f0cc7a4b1d209e5cefa1983d10e821ffed9872ec4de735784de1e"},
    {"helpDisableSpotlight", "Disable / Enable Spotlight", 195,
     "edec115c7d1daec725e43c1cbd21df52ac4e0269a6dbdb13c0439bbd9792722f"},
    {"helpRemoveSpotlightData", "Remove Spotlight Data", 206,
     "c0573ddfbfad57982642872964037dc0de3bcd5a086e0decf6432824a848c457"},
    {"helpRemoveTrashesData", "Remove Trashes Data", 157,
     "d568f3b1f0d58d93df969217912608bfd6d8f8d400c726bc3ee9fc72dc71f96d"},
    {"helpRemoveLoggingData", "Remove Logging Data", 215,
     "754d2171f19848fb8ea9e83e0a2973d06c08ac9f27de11e651b68888a0e41995"},
    {"helpDisableLogging", "Disable Logging", 175,
     "9a9b735436710d58f53294a2a1c89270586dec8e1f6ff5054b15cc52866e58b7"},
};

QLabel &text_label(const QDialog &dialog) {
    return *dialog.findChild<QLabel *>("qt_msgbox_informativelabel");
}

class help : public app_tests::window_test {
 protected:
    // Presses the button and closes the alert in this way, by default with "OK".
    void open(
        const char *button, std::function<void(QMessageBox &)> look,
        const std::function<void(QMessageBox &)> &close = [](QMessageBox &alert) {
            QTest::mouseClick(alert.buttons().constFirst(), Qt::LeftButton);
        }) {
        answers user;
        user.then([look, close](QDialog &dialog) {
            auto &alert = dynamic_cast<QMessageBox &>(dialog);
            look(alert);
            close(alert);
        });
        QTest::mouseClick(&button_named(app(), button), Qt::LeftButton);
        EXPECT_TRUE(user.all_given()) << button;
    }
};

QString sha256_of(const QString &text) {
    return QString::fromLatin1(
        QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Sha256).toHex());
}

}  // namespace

TEST_F(help, each_button_opens_its_exact_text) {
    for (const topic &wanted : topics) {
        open(wanted.button, [&](QMessageBox &alert) {
            EXPECT_EQ(alert.text(), wanted.title);
            EXPECT_EQ(alert.informativeText().size(), wanted.length) << wanted.title;
            EXPECT_EQ(sha256_of(alert.informativeText()), wanted.sha256) << wanted.title;
            EXPECT_EQ(text_label(alert).text(), alert.informativeText());
            EXPECT_EQ(button_titles(alert), QStringList("OK"));
            EXPECT_EQ(alert.icon(), QMessageBox::Warning);
            EXPECT_EQ(alert.checkBox(), nullptr);
            EXPECT_TRUE(alert.isModal());
        });
    }
}

TEST_F(help, is_plain_text_for_selection_and_copy) {
    for (const topic &wanted : topics) {
        open(wanted.button, [&](QMessageBox &alert) {
            QLabel &label = text_label(alert);
            EXPECT_EQ(label.textFormat(), Qt::PlainText);
            EXPECT_TRUE(label.textInteractionFlags().testFlag(Qt::TextSelectableByMouse));
            label.setFocus();
            QTest::keyClick(&label, Qt::Key_A, Qt::ControlModifier);
            QTest::keyClick(&label, Qt::Key_C, Qt::ControlModifier);
            EXPECT_EQ(QApplication::clipboard()->text(), alert.informativeText());
        });
    }
}

TEST_F(help, fits_on_screen) {
    for (const topic &wanted : topics)
        open(wanted.button, [](QMessageBox &alert) { expect_nothing_clipped(alert); });
}

TEST_F(help, changes_neither_window_nor_log) {
    accept_disclaimer();
    tick();
    const auto confirm = [](QMessageBox &alert) { press_key(alert, Qt::Key_Return); };
    const auto escape = [](QMessageBox &alert) { press_key(alert, Qt::Key_Escape); };
    const auto cross = [](QMessageBox &alert) { alert.close(); };
    const auto before = window_contents(*app().window);
    EXPECT_GT(before.size(), 40);
    const auto log = log_of([&] {
        for (const topic &wanted : topics) {
            for (const std::function<void(QMessageBox &)> &close :
                 {std::function<void(QMessageBox &)>(confirm),
                  std::function<void(QMessageBox &)>(escape),
                  std::function<void(QMessageBox &)>(cross)})
                open(
                    wanted.button, [](QMessageBox &) {}, close);
        }
    });
    EXPECT_EQ(window_contents(*app().window), before);
    EXPECT_EQ(log, std::vector<std::string>());
    EXPECT_EQ(uiState, UI_STATE_WAITING);
    EXPECT_EQ(selectedVolumePath, "-");
}

TEST_F(help, is_available_without_volume_and_during_test) {
    for (const std::uint32_t state : {UI_STATE_INIT, UI_STATE_WAITING, UI_STATE_TESTING}) {
        uiState = state;
        tick();
        for (const topic &wanted : topics)
            EXPECT_TRUE(button_named(app(), wanted.button).isEnabled()) << wanted.button;
    }
    uiState = UI_STATE_WAITING;
}

namespace {

class long_alert : public testing::Test {
 protected:
    static void look_at_lines(int count, std::function<void(QMessageBox &)> look) {
        QString text;
        for (int i = 0; i < count; ++i)
            text += QStringLiteral("line %1 of a text\n").arg(i);
        answers user;
        user.then_press("OK", std::move(look));
        alert_run(nullptr, {.message = "Long", .informative = text, .buttons = {"OK"}});
    }
};

}  // namespace

TEST_F(long_alert, scrolls_to_last_line_with_button_on_screen) {
    look_at_lines(500, [](QMessageBox &alert) {
        expect_nothing_clipped(alert);
        auto *const scroll = alert.findChild<QScrollArea *>("longText");
        ASSERT_NE(scroll, nullptr);
        EXPECT_EQ(scroll->widget(), &text_label(alert));
        EXPECT_EQ(scroll->accessibleName(), "Long");
        EXPECT_TRUE(scroll->verticalScrollBar()->isVisible());
        EXPECT_EQ(scroll->horizontalScrollBar()->maximum(), 0);
        EXPECT_GE(text_label(alert).height(),
                  text_label(alert).heightForWidth(text_label(alert).width()));
        EXPECT_EQ(scroll->verticalScrollBar()->maximum(),
                  text_label(alert).height() - scroll->viewport()->height());
    });
}

TEST_F(long_alert, scrolls_by_keyboard) {
    look_at_lines(500, [](QMessageBox &alert) {
        auto *const scroll = alert.findChild<QScrollArea *>("longText");
        ASSERT_NE(scroll, nullptr);
        for (int i = 0; i < 6 && alert.focusWidget() != scroll; ++i)
            press_key(alert, Qt::Key_Tab);
        ASSERT_EQ(alert.focusWidget(), scroll);
        EXPECT_EQ(scroll->verticalScrollBar()->value(), 0);
        press_key(alert, Qt::Key_PageDown);
        const int page = scroll->verticalScrollBar()->value();
        EXPECT_GT(page, scroll->viewport()->height() / 2);
        press_key(alert, Qt::Key_Down);
        EXPECT_GT(scroll->verticalScrollBar()->value(), page);
    });
}

TEST_F(long_alert, does_not_scroll_with_enough_room) {
    look_at_lines(3, [](QMessageBox &alert) {
        EXPECT_EQ(alert.findChild<QScrollArea *>("longText"), nullptr);
        expect_nothing_clipped(alert);
    });
}
