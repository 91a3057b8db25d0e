// SPDX-License-Identifier: GPL-3.0-or-later
// Grants of access: the panels' exact texts, each answer, and no panel without a sandbox.
#include <QDialogButtonBox>
#include <QDir>
#include <QFileSystemModel>
#include <QListView>
#include <QTest>
#include <QTextDocumentFragment>
#include <fstream>

#include "access_support.h"

using app_tests::access_grant;
using app_tests::answers;
using app_tests::choose_by_name;
using app_tests::error_capture;
using app_tests::has_button;
using app_tests::lines;
using app_tests::name_field;

TEST_F(access_grant, is_given_at_once_without_sandbox) {
    sandbox_override(false);
    const error_capture log;
    const answers nobody_is_asked;
    EXPECT_TRUE(app().qop_sandbox_askUserForPermission_readWrite("1.fff", "1.fff"));
    EXPECT_TRUE(app().qop_sandbox_askUserForPermission_read("/volume", "/volume"));
    app().punchHoleInSandboxForFile(qpath("missing"));
    EXPECT_EQ(log.lines(), lines());
}

TEST_F(access_grant, to_write_has_its_texts) {
    answers user;
    then_in_panel(user, [](QFileDialog &panel) {
        EXPECT_EQ(panel.windowTitle(), "Authorize RW for  \"/volume/.Trashes\"");
        const QString message =
            "You are about to authorize read and write access to \"/volume/.Trashes\"";
        EXPECT_EQ(panel.accessibleDescription(), message);
        EXPECT_EQ(QTextDocumentFragment::fromHtml(panel.toolTip()).toPlainText(), message);
        EXPECT_TRUE(has_button(panel, "Authorize RW"));
        EXPECT_EQ(name_field(panel)->text(), ".Trashes");
        EXPECT_EQ(panel.acceptMode(), QFileDialog::AcceptSave);
        EXPECT_TRUE(panel.testOption(QFileDialog::ReadOnly)) << "folders could be made";
        panel.reject();
    });
    EXPECT_FALSE(app().qop_sandbox_askUserForPermission_readWrite(".Trashes", "/volume/.Trashes"));
}

// A dying card may never answer a read.
TEST_F(access_grant, to_write_reads_no_shown_file) {
    std::ofstream(path("picture")) << "\x89PNG\r\n\x1a\n";
    answers user;
    then_in_panel(user, [this](QFileDialog &panel) {
        panel.setDirectory(qpath(""));
        auto *const model = panel.findChild<QFileSystemModel *>();
        ASSERT_NE(model, nullptr);
        const auto kind = [&](const QString &name) { return model->type(model->index(name)); };
        EXPECT_TRUE(app_tests::wait_until([&] { return kind(qpath("picture")) == "File"; }));
        EXPECT_EQ(kind(qpath("elsewhere")), "Folder");
        panel.reject();
    });
    EXPECT_FALSE(app().qop_sandbox_askUserForPermission_readWrite("1.fff", "1.fff"));
}

TEST_F(access_grant, to_write_logs_confirmed_path) {
    answers user;
    const error_capture log;
    then_in_panel(user, [this](QFileDialog &panel) { choose_by_name(panel, path("1.fff")); });
    EXPECT_TRUE(app().qop_sandbox_askUserForPermission_readWrite("1.fff", "1.fff"));
    EXPECT_EQ(log.lines(), lines({"d: User has access granted for " + path("1.fff")}));
    EXPECT_FALSE(std::filesystem::exists(path("1.fff")));
}

TEST_F(access_grant, to_write_does_not_ask_about_overwriting) {
    make("1.fff");
    answers user;
    then_in_panel(user, [this](QFileDialog &panel) { choose_by_name(panel, path("1.fff")); });
    EXPECT_TRUE(app().qop_sandbox_askUserForPermission_readWrite("1.fff", "1.fff"));
    EXPECT_EQ(std::filesystem::file_size(path("1.fff")), 7U);
}

TEST_F(access_grant, to_write_counts_for_any_place) {
    answers user;
    const error_capture log;
    then_in_panel(user, [this](QFileDialog &panel) {
        panel.setDirectory(qpath("elsewhere"));
        choose_by_name(panel, "other.txt");
    });
    EXPECT_TRUE(app().qop_sandbox_askUserForPermission_readWrite("1.fff", "1.fff"));
    EXPECT_EQ(log.lines(),
              lines({"d: User has access granted for " + path("elsewhere/other.txt")}));
}

TEST_F(access_grant, to_write_logs_nothing_when_cancelled) {
    answers user;
    const error_capture log;
    then_in_panel(user, [](QFileDialog &panel) { QTest::keyClick(&panel, Qt::Key_Escape); });
    EXPECT_FALSE(app().qop_sandbox_askUserForPermission_readWrite("1.fff", "1.fff"));
    EXPECT_EQ(log.lines(), lines());
}

TEST_F(access_grant, to_read_has_its_texts) {
    answers user;
    const QString folder = qpath("elsewhere");
    then_in_panel(user, [&](QFileDialog &panel) {
        EXPECT_EQ(panel.windowTitle(),
                  "You are about to authorize read access to \"" + folder + "\"");
        EXPECT_TRUE(has_button(panel, "Authorize read access to  " + folder));
        EXPECT_EQ(name_field(panel)->text(), folder);
        EXPECT_EQ(panel.acceptMode(), QFileDialog::AcceptOpen);
        EXPECT_EQ(panel.fileMode(), QFileDialog::Directory);
        EXPECT_FALSE(panel.testOption(QFileDialog::ShowDirsOnly)) << "files would be hidden";
        EXPECT_TRUE(panel.testOption(QFileDialog::ReadOnly)) << "folders could be made";
        panel.reject();
    });
    EXPECT_FALSE(app().qop_sandbox_askUserForPermission_read(folder, folder));
}

TEST_F(access_grant, to_read_logs_confirmed_path) {
    answers user;
    const error_capture log;
    then_in_panel(user, [this](QFileDialog &panel) { choose_by_name(panel, path("elsewhere")); });
    EXPECT_TRUE(app().qop_sandbox_askUserForPermission_read("x", "x"));
    EXPECT_EQ(log.lines(), lines({"d: User has granted access for " + path("elsewhere")}));
}

TEST_F(access_grant, to_read_takes_file_by_name) {
    make("picture");
    answers user;
    const error_capture log;
    then_in_panel(user, [this](QFileDialog &panel) { choose_by_name(panel, path("picture")); });
    EXPECT_TRUE(app().qop_sandbox_askUserForPermission_read("x", "x"));
    EXPECT_EQ(log.lines(), lines({"d: User has granted access for " + path("picture")}));
}

TEST_F(access_grant, to_read_takes_file_by_mouse) {
    make("elsewhere/picture");
    answers user;
    const error_capture log;
    then_in_panel(user, [this](QFileDialog &panel) {
        panel.setDirectory(qpath("elsewhere"));
        auto *const list = panel.findChild<QListView *>("listView");
        QModelIndex entry;
        ASSERT_TRUE(app_tests::wait_until([&] {
            entry = list->model()->index(0, 0, list->rootIndex());
            return entry.data().toString() == "picture";
        }));
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualRect(entry).center());
        auto *const box = panel.findChild<QDialogButtonBox *>();
        for (QAbstractButton *button : box->buttons()) {
            if (box->buttonRole(button) != QDialogButtonBox::AcceptRole)
                continue;
            EXPECT_TRUE(button->isEnabled());
            EXPECT_EQ(button->text(), "Authorize read access to  x");
            QTest::mouseClick(button, Qt::LeftButton);
        }
        EXPECT_FALSE(panel.isVisible());
        QTimer::singleShot(app_tests::patience_ms, &panel, &QDialog::reject);
    });
    EXPECT_TRUE(app().qop_sandbox_askUserForPermission_read("x", "x"));
    EXPECT_EQ(log.lines(), lines({"d: User has granted access for " + path("elsewhere/picture")}));
}

TEST_F(access_grant, to_read_refuses_missing_name) {
    answers user;
    user.then([&user, this](QDialog &dialog) {
        auto &panel = dynamic_cast<QFileDialog &>(dialog);
        user.then([](QDialog &not_found) { not_found.reject(); });
        choose_by_name(panel, path("missing"));
        EXPECT_TRUE(panel.isVisible());
        panel.reject();
    });
    EXPECT_FALSE(app().qop_sandbox_askUserForPermission_read("x", "x"));
}

TEST_F(access_grant, to_read_accepts_suggested_path) {
    answers user;
    const error_capture log;
    then_in_panel(user, [](QFileDialog &panel) {
        QTest::keyClick(name_field(panel), Qt::Key_Return);
        QTimer::singleShot(app_tests::patience_ms, &panel, &QDialog::reject);
    });
    const QString folder = qpath("elsewhere");
    EXPECT_TRUE(app().qop_sandbox_askUserForPermission_read(folder, folder));
    EXPECT_EQ(log.lines(), lines({"d: User has granted access for " + path("elsewhere")}));
}

TEST_F(access_grant, to_read_logs_nothing_when_cancelled) {
    answers user;
    const error_capture log;
    then_in_panel(user, [](QFileDialog &panel) { panel.reject(); });
    EXPECT_FALSE(app().qop_sandbox_askUserForPermission_read("x", "x"));
    EXPECT_EQ(log.lines(), lines());
}

TEST_F(access_grant, shows_percent_signs_with_ampersands_literally) {
    answers user;
    then_in_panel(user, [](QFileDialog &panel) {
        EXPECT_EQ(panel.windowTitle(), "Authorize RW for  \"%1 & %2\"");
        panel.reject();
    });
    then_in_panel(user, [](QFileDialog &panel) {
        EXPECT_EQ(panel.windowTitle(), "You are about to authorize read access to \"%1 & %2\"");
        EXPECT_TRUE(has_button(panel, "Authorize read access to  %1 && %2"));
        panel.reject();
    });
    app().qop_sandbox_askUserForPermission_readWrite("x", "%1 & %2");
    app().qop_sandbox_askUserForPermission_read("x", "%1 & %2");
}

using sandbox_info = app_tests::window_test;

TEST_F(sandbox_info, has_three_aligned_lines) {
    const error_capture log;
    app().sandbox_printSandboxInfo();
    EXPECT_EQ(log.lines(), lines({"d: -- printSandboxInfo",
                                  "d: NSTemporaryDirectory: " + QDir::tempPath().toStdString(),
                                  "d: NSHomeDirectory     : " + QDir::homePath().toStdString()}));
}

TEST(sandbox, is_off_unless_overridden) {
    sandbox_override(std::nullopt);
    EXPECT_FALSE(sandbox_is_active());
    sandbox_override(true);
    EXPECT_TRUE(sandbox_is_active());
    sandbox_override(false);
    EXPECT_FALSE(sandbox_is_active());
    sandbox_override(std::nullopt);
    EXPECT_FALSE(sandbox_is_active());
}
