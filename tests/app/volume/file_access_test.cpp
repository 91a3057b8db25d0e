// SPDX-License-Identifier: GPL-3.0-or-later
// The grant for one file asks until the user chooses the right file or cancels.
#include <unistd.h>

#include <QDir>
#include <QFileInfo>

#include "access_support.h"

using app_tests::answers;
using app_tests::button_titles;
using app_tests::choose_by_name;
using app_tests::error_capture;
using app_tests::has_button;
using app_tests::lines;

namespace {

// One file that this process may not read, and the question for it.
class access_to_one_file : public app_tests::access_grant {
 protected:
    access_to_one_file() : m_user(getuid()) {
        std::filesystem::permissions(path(""), std::filesystem::perms(0755));
        // Root can read every file, and access(2) checks the real user.
        if (m_user == 0)
            become(65534);
    }
    ~access_to_one_file() override {
        if (m_user == 0)
            become(m_user);
    }

    void make_unreadable(const std::string &name) const {
        make(name);
        std::filesystem::permissions(path(name), std::filesystem::perms::none);
        ASSERT_FALSE(QFileInfo(qpath(name)).isReadable());
    }

    void make_readable(const std::string &name) const {
        std::filesystem::permissions(path(name), std::filesystem::perms(0644));
        ASSERT_TRUE(QFileInfo(qpath(name)).isReadable());
    }

    void then_choose(answers &user, const std::string &name) const {
        then_in_panel(user,
                      [this, name](QFileDialog &panel) { choose_by_name(panel, path(name)); });
    }

    static void then_cancel(answers &user) {
        then_in_panel(user, [](QFileDialog &panel) { panel.reject(); });
    }

    static void then_be_told_of_denial(answers &user) {
        user.then_press("Carry On", [](QMessageBox &alert) {
            EXPECT_EQ(alert.text(), "Was denied access to required files.");
            EXPECT_EQ(alert.informativeText(),
                      "This software can not provide it's full functionality without access to "
                      "certain files.");
            EXPECT_EQ(button_titles(alert), QStringList("Carry On"));
        });
    }

    static void then_be_told_of_wrong_file(answers &user, const QString &request) {
        user.then_press("Try Again", [request](QMessageBox &alert) {
            EXPECT_EQ(alert.text(), "Wrong file was selected.");
            EXPECT_EQ(alert.informativeText(), request);
            EXPECT_EQ(button_titles(alert), QStringList("Try Again"));
        });
    }

    void ask_for(const std::string &name) { app().punchHoleInSandboxForFile(qpath(name)); }

 private:
    static void become(uid_t user) { EXPECT_EQ(setreuid(user, static_cast<uid_t>(-1)), 0); }

    const uid_t m_user;
};

}  // namespace

TEST_F(access_to_one_file, does_not_ask_for_readable_file) {
    make("readable");
    make_readable("readable");
    const answers nobody_is_asked;
    ask_for("readable");
}

TEST_F(access_to_one_file, has_its_texts) {
    make_unreadable("keys.txt");
    answers user;
    then_in_panel(user, [](QFileDialog &panel) {
        EXPECT_EQ(panel.windowTitle(), "Sandbox requires user permision to read keys.txt");
        EXPECT_TRUE(has_button(panel, "Allow in Sandbox"));
        EXPECT_EQ(panel.fileMode(), QFileDialog::ExistingFile);
        EXPECT_EQ(panel.acceptMode(), QFileDialog::AcceptOpen);
        EXPECT_TRUE(panel.filter().testFlag(QDir::Files));
        EXPECT_TRUE(panel.filter().testFlag(QDir::AllDirs));
        EXPECT_FALSE(panel.filter().testFlag(QDir::Hidden));
        panel.reject();
    });
    then_be_told_of_denial(user);
    ask_for("keys.txt");
}

TEST_F(access_to_one_file, ends_silently_with_right_file) {
    make_unreadable("keys.txt");
    answers user;
    const error_capture log;
    then_choose(user, "keys.txt");
    ask_for("keys.txt");
    EXPECT_EQ(log.lines(), lines());
}

TEST_F(access_to_one_file, takes_symlink_to_right_file) {
    make_unreadable("keys.txt");
    std::filesystem::create_symlink(path("keys.txt"), path("link"));
    answers user;
    then_choose(user, "link");
    ask_for("keys.txt");
}

TEST_F(access_to_one_file, takes_target_of_wanted_symlink) {
    make_unreadable("keys.txt");
    std::filesystem::create_symlink(path("keys.txt"), path("link"));
    answers user;
    then_in_panel(user, [this](QFileDialog &panel) {
        EXPECT_EQ(panel.windowTitle(), "Sandbox requires user permision to read keys.txt");
        choose_by_name(panel, path("keys.txt"));
    });
    ask_for("link");
}

TEST_F(access_to_one_file, takes_file_created_meanwhile) {
    answers user;
    then_in_panel(user, [this](QFileDialog &panel) {
        make("late.txt");
        choose_by_name(panel, path("late.txt"));
    });
    ask_for("late.txt");
}

TEST_F(access_to_one_file, asks_again_after_each_wrong_file) {
    make_unreadable("keys.txt");
    make("wrong.txt");
    const QString request = "Sandbox requires user permision to read keys.txt";
    answers user;
    for (int i = 0; i < 3; ++i) {
        then_choose(user, "wrong.txt");
        then_be_told_of_wrong_file(user, request);
    }
    then_choose(user, "keys.txt");
    ask_for("keys.txt");
}

TEST_F(access_to_one_file, reports_denial_once) {
    make_unreadable("keys.txt");
    answers user;
    then_cancel(user);
    then_be_told_of_denial(user);
    ask_for("keys.txt");
}

TEST_F(access_to_one_file, can_be_cancelled_after_wrong_file) {
    make_unreadable("keys.txt");
    make("wrong.txt");
    answers user;
    then_choose(user, "wrong.txt");
    then_be_told_of_wrong_file(user, "Sandbox requires user permision to read keys.txt");
    then_cancel(user);
    then_be_told_of_denial(user);
    ask_for("keys.txt");
}

TEST_F(access_to_one_file, does_not_ask_again_when_readable_meanwhile) {
    make_unreadable("keys.txt");
    make("wrong.txt");
    answers user;
    then_choose(user, "wrong.txt");
    user.then_press("Try Again", [this](QMessageBox &) { make_readable("keys.txt"); });
    ask_for("keys.txt");
}

TEST_F(access_to_one_file, shows_percent_sign_in_name_literally) {
    make_unreadable("50% done.txt");
    make("wrong.txt");
    answers user;
    then_in_panel(user, [this](QFileDialog &panel) {
        EXPECT_EQ(panel.windowTitle(), "Sandbox requires user permision to read 50% done.txt");
        choose_by_name(panel, path("wrong.txt"));
    });
    // In the alert the request is a format, and "% d" is a number without an argument.
    then_be_told_of_wrong_file(user, "Sandbox requires user permision to read 500one.txt");
    then_choose(user, "50% done.txt");
    ask_for("50% done.txt");
}
