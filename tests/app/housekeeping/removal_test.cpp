// SPDX-License-Identifier: GPL-3.0-or-later
// Short and long removals. A card that stops answering makes a removal last as long as needed.
#include "app/removal.h"

#include <dlfcn.h>

#include <qguiapplication_platform.h>
#include <QApplication>
#include <QLabel>
#include <QMainWindow>
#include <QProgressBar>
#include <QProgressDialog>
#include <QPushButton>
#include <QRegularExpression>
#include <QTest>
#include <QTimer>
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <memory>

#include "app/alert.h"
#include "app/controller_state.h"
#include "heartbeat.h"
#include "outreach_support.h"
#include "volume/folder_anchor.h"

using app_tests::answers;
using app_tests::error_capture;
using app_tests::expect_nothing_clipped;
using app_tests::heartbeat;
using app_tests::press_key;
using app_tests::stalling_card;
using app_tests::wait_until;
using test_support::missing_for_cards;
using test_support::private_folder;

namespace fs = std::filesystem;

namespace {

constexpr int entries = 3000;

// Counts dialogs that are shown.
class dialog_counter : public QObject {
 public:
    dialog_counter() { qApp->installEventFilter(this); }
    int count() const { return m_count; }

 protected:
    bool eventFilter(QObject *watched, QEvent *event) override {
        if (event->type() == QEvent::Show && dynamic_cast<QDialog *>(watched) != nullptr)
            ++m_count;
        return false;
    }

 private:
    int m_count = 0;
};

// Counts the paint events of a widget.
class paint_counter : public QObject {
 public:
    explicit paint_counter(QWidget &widget) { widget.installEventFilter(this); }
    int count() const { return m_count; }

 protected:
    bool eventFilter(QObject * /*watched*/, QEvent *event) override {
        if (event->type() == QEvent::Paint)
            ++m_count;
        return false;
    }

 private:
    int m_count = 0;
};

// A button event of the X protocol, as the server sends it to a window.
struct x_button_event {
    std::uint8_t type = 0;
    std::uint8_t button = 1;
    std::uint16_t sequence = 0;
    std::uint32_t time = 0;
    std::uint32_t root = 0, window = 0, child = 0;
    std::int16_t root_x = 0, root_y = 0, x = 0, y = 0;
    std::uint16_t held = 0;
    std::uint8_t same_screen = 1, unused = 0;
};
static_assert(sizeof(x_button_event) == 32);

// Queues a click at this place of the window on the X server. Qt has loaded the library already.
void send_click(xcb_connection_t *connection, std::uint32_t window, QPoint place) {
    using send_event_function =
        unsigned (*)(xcb_connection_t *, std::uint8_t, std::uint32_t, std::uint32_t, const char *);
    using flush_function = int (*)(xcb_connection_t *);
    void *const library = dlopen("libxcb.so.1", RTLD_NOW);
    ASSERT_NE(library, nullptr);
    const auto send_event = reinterpret_cast<send_event_function>(dlsym(library, "xcb_send_event"));
    const auto flush = reinterpret_cast<flush_function>(dlsym(library, "xcb_flush"));
    constexpr std::uint8_t pressed = 4;
    constexpr std::uint8_t released = 5;
    for (const std::uint8_t type : {pressed, released}) {
        x_button_event event;
        event.type = type;
        event.window = window;
        event.x = event.root_x = static_cast<std::int16_t>(place.x());
        event.y = event.root_y = static_cast<std::int16_t>(place.y());
        event.held = type == released ? 0x100 : 0;
        send_event(connection, 0, window, 0, reinterpret_cast<const char *>(&event));
    }
    flush(connection);
    dlclose(library);
}

// A full trash on a card that stops answering when its removal begins.
class long_removal : public app_tests::window_test {
 protected:
    void SetUp() override {
        SKIP_IF_MISSING(missing_for_cards());
        m_card = std::make_unique<stalling_card>();
        m_card->make_full_folder(".Trashes", entries);
        const error_capture log;
        choose(m_card->path());
        EXPECT_EQ(app().UI_volumesTrashes->text(), "Found Trashes data.");
    }

    stalling_card &card() { return *m_card; }
    std::string trash() const { return m_card->file(".Trashes"); }

    // Removes the trash by the button. The card answers again after `look` has seen the dialog.
    void remove_trash(std::function<void(QProgressDialog &)> look) {
        QTimer::singleShot(0, &app(), [this] { m_card->stall(); });
        answers user;
        user.then([this, look](QDialog &dialog) {
            auto *const progress = dynamic_cast<QProgressDialog *>(&dialog);
            ASSERT_NE(progress, nullptr);
            look(*progress);
            m_card->go_on();
        });
        QTest::mouseClick(app().UI_removeTrashesData_outlet, Qt::LeftButton);
        EXPECT_FALSE(fs::exists(trash()));
    }

    static qint64 shown_count(const QProgressDialog &dialog) {
        const QRegularExpression number("\n([0-9]+) items so far$");
        return number.match(dialog.labelText()).captured(1).toLongLong();
    }

 private:
    std::unique_ptr<stalling_card> m_card;
};

// Removes "full" in the folder.
remove_tree_error removal_in(const private_folder &folder, int quiet_ms = removal_quiet_ms) {
    const folder_anchor held(folder.path());
    return removal_run(nullptr, {held.descriptor(), folder.path() + "/", "full"}, quiet_ms);
}

}  // namespace

TEST(removal, returns_error_with_path) {
    const private_folder folder;
    fs::create_directories(folder.path() + "/full/of/folders");
    EXPECT_EQ(removal_in(folder).error_number, 0);
    EXPECT_TRUE(fs::is_empty(folder.path()));
    const remove_tree_error error = removal_in(folder);
    EXPECT_EQ(error.error_number, ENOENT);
    EXPECT_EQ(error.path, folder.path() + "/full");
}

TEST(removal, shows_no_dialog_when_done_soon) {
    const private_folder folder;
    fs::create_directories(folder.path() + "/full/of/folders");
    const dialog_counter dialogs;
    removal_in(folder, app_tests::patience_ms);
    QTest::qWait(100);
    EXPECT_EQ(dialogs.count(), 0);
}

TEST(removal, is_question_while_it_runs) {
    const private_folder folder;
    fs::create_directories(folder.path() + "/full");
    bool was_open = false;
    QTimer::singleShot(0, qApp, [&] { was_open = modal_question::is_open(); });
    removal_in(folder);
    EXPECT_TRUE(was_open);
    EXPECT_FALSE(modal_question::is_open());
}

TEST_F(long_removal, shows_dialog_without_buttons) {
    remove_trash([&](QProgressDialog &dialog) {
        EXPECT_TRUE(dialog.isModal());
        EXPECT_EQ(dialog.parentWidget(), app().window);
        EXPECT_EQ(dialog.windowTitle(), "trovik");
        EXPECT_TRUE(
            dialog.labelText().startsWith(QString::fromStdString("Removing " + trash() + "\n")));
        EXPECT_TRUE(dialog.findChildren<QAbstractButton *>().isEmpty());
        auto *const bar = dialog.findChild<QProgressBar *>();
        ASSERT_NE(bar, nullptr);
        EXPECT_EQ(bar->maximum(), 0) << "nobody knows how much there is";
        expect_nothing_clipped(dialog);
    });
}

TEST_F(long_removal, counts_removed_entries) {
    qint64 at_first = -1;
    qint64 later = -1;
    remove_trash([&](QProgressDialog &dialog) {
        at_first = shown_count(dialog);
        card().go_on();
        EXPECT_TRUE(wait_until([&] { return shown_count(dialog) > at_first; }));
        later = shown_count(dialog);
    });
    EXPECT_GE(at_first, 0);
    EXPECT_GT(later, at_first);
    EXPECT_LE(later, entries + 1);
}

TEST_F(long_removal, keeps_painting_window) {
    remove_trash([&](QProgressDialog &dialog) {
        const heartbeat beats;
        const paint_counter paints(*app().UI_state);
        app().UI_state->setText("painted");
        EXPECT_TRUE(wait_until([&] { return paints.count() > 0 && beats.beats() >= 20; }));
        EXPECT_TRUE(dialog.isVisible());
    });
}

TEST_F(long_removal, ignores_escape_and_close_button) {
    remove_trash([](QProgressDialog &dialog) {
        QTest::keyClick(&dialog, Qt::Key_Escape);
        EXPECT_TRUE(dialog.isVisible());
        QTest::keyClick(&dialog, Qt::Key_Return);
        EXPECT_TRUE(dialog.isVisible());
        dialog.close();
        EXPECT_TRUE(dialog.isVisible());
        dialog.reject();
        EXPECT_TRUE(dialog.isVisible());
        EXPECT_FALSE(dialog.wasCanceled());
    });
}

// The desktop ends the session in the middle of a removal.
TEST_F(long_removal, completes_when_program_quits) {
    bool was_alive = false;
    QTimer::singleShot(0, &app(), [this] { card().stall(); });
    answers user;
    user.then([&](QDialog &dialog) {
        QTimer::singleShot(500, &dialog, [&] {
            was_alive = true;
            card().go_on();
        });
        QCoreApplication::exit(0);
    });
    QTest::mouseClick(app().UI_removeTrashesData_outlet, Qt::LeftButton);
    EXPECT_TRUE(was_alive);
    EXPECT_FALSE(fs::exists(trash()));
}

TEST_F(long_removal, logs_when_done) {
    using lines = std::vector<std::string>;
    const error_capture log;
    remove_trash([&](QProgressDialog &) {
        EXPECT_EQ(log.lines(), lines({"OK", "d: b: 1"}));
        EXPECT_EQ(app().UI_volumesTrashes->text(), "Found Trashes data.");
    });
    EXPECT_EQ(log.lines(), lines({"OK", "d: b: 1", "ERR: (null)", "-4"}));
    tick();
    EXPECT_EQ(app().UI_volumesTrashes->text(), "No Trashes data found.");
}

TEST_F(long_removal, stops_display) {
    remove_trash([&](QProgressDialog &) {
        app().UI_state->setText("before the tick");
        tick();
        EXPECT_EQ(app().UI_state->text(), "before the tick");
    });
}

// Clicks during a removal are dropped, not kept for later: one of them might hit Start.
TEST_F(long_removal, swallows_clicks_behind_dialog) {
    SKIP_IF_MISSING(QApplication::platformName() == "xcb"
                        ? ""
                        : "input that waits in a queue needs an X server");
    auto *const x11 = qApp->nativeInterface<QNativeInterface::QX11Application>();
    int presses = 0;
    QObject::connect(app().UI_feedback_outlet, &QPushButton::pressed, &app(), [&] { ++presses; });
    const QPoint place =
        app().UI_feedback_outlet->mapTo(app().window, app().UI_feedback_outlet->rect().center());
    const auto click_behind = [&] {
        send_click(x11->connection(), static_cast<std::uint32_t>(app().window->winId()), place);
    };
    remove_trash([&](QProgressDialog &) { click_behind(); });
    QTest::qWait(200);
    EXPECT_EQ(presses, 0);
    // The same click counts without a dialog.
    answers user;
    user.then([](QDialog &dialog) { dialog.reject(); });
    click_behind();
    EXPECT_TRUE(wait_until([&] { return user.all_given(); }));
    EXPECT_EQ(presses, 1);
}
