// SPDX-License-Identifier: GPL-3.0-or-later
// In a sandbox, each action asks for access first and does nothing without it. Other processes may
// change a marker meanwhile.
#include <QFileDialog>
#include <QLineEdit>
#include <QPushButton>
#include <filesystem>

#include "app/platform.h"
#include "housekeeping_support.h"
#include "log_interceptor.h"

using app_tests::answers;
using app_tests::log_interceptor;
using app_tests::press_key;
using app_tests::working_directory;
using test_support::private_folder;

namespace fs = std::filesystem;

namespace {

using lines = std::vector<std::string>;

class housekeeping_access : public app_tests::housekeeping {
 protected:
    housekeeping_access() { sandbox_override(true); }
    ~housekeeping_access() override { sandbox_override(std::nullopt); }

    // The panel has to ask for this marker; `answer` closes it.
    static void expect_question(answers &user, const std::string &name, const std::string &path,
                                std::function<void(QFileDialog &)> answer) {
        user.then([name, path, answer](QDialog &dialog) {
            auto &panel = dynamic_cast<QFileDialog &>(dialog);
            EXPECT_EQ(panel.acceptMode(), QFileDialog::AcceptSave);
            EXPECT_EQ(panel.windowTitle(),
                      QString::fromStdString("Authorize RW for  \"" + path + "\""));
            EXPECT_EQ(panel.accessibleDescription(),
                      QString::fromStdString("You are about to authorize read and write access to "
                                             "\"" +
                                             path + "\""));
            const auto *const field = panel.findChild<QLineEdit *>("fileNameEdit");
            EXPECT_EQ(field->text(), QString::fromStdString(name));
            answer(panel);
        });
    }

    static void press(QFileDialog &panel, const QString &title) {
        for (QPushButton *button : panel.findChildren<QPushButton *>()) {
            if (button->text().remove('&') == title) {
                QTest::mouseClick(button, Qt::LeftButton);
                return;
            }
        }
        ADD_FAILURE() << "no button " << title.toStdString();
        panel.reject();
    }

    struct action {
        QPushButton *button;
        std::string name;    // of the marker
        std::string marker;  // on the volume
        lines done;          // what is logged about it when it was absent
        lines refused;
    };
    std::vector<action> actions() {
        const std::string logging = ".fseventd/no_log";
        return {{app().UI_disableSpotlight_outlet, ".metadata_never_index", ".metadata_never_index",
                 nothing, nothing},
                {app().UI_removeSpotlightData_outlet,
                 ".Spotlight-V100",
                 ".Spotlight-V100",
                 {"OK", "d: b: 0"},
                 {"not OK"}},
                {app().UI_removeTrashesData_outlet,
                 ".Trashes",
                 ".Trashes",
                 {"OK", "d: b: 0"},
                 {"not OK"}},
                {app().UI_disableLogging_outlet,
                 "no_log",
                 logging,
                 {"d: b 0", "ERR: Can't write file " + path_of(logging) + "."},
                 nothing}};
    }

    // The panel shows this folder.
    const private_folder m_folder;
    const working_directory m_directory{m_folder.path()};
};

}  // namespace

TEST_F(housekeeping_access, logs_grant_before_action) {
    for (const action &wanted : actions()) {
        answers user;
        expect_question(user, wanted.name, path_of(wanted.marker),
                        [](QFileDialog &panel) { press(panel, "Authorize RW"); });
        lines expected = {"d: User has access granted for " + m_folder.path() + "/" + wanted.name};
        expected.insert(expected.end(), wanted.done.begin(), wanted.done.end());
        EXPECT_EQ(click(wanted.button), expected) << wanted.name;
    }
    EXPECT_EQ(volume().content(), lines({".metadata_never_index"}));
    EXPECT_EQ(spotlight_title(), "Enable Spotlight");
    EXPECT_EQ(logging_title(), "Enable Logging");
}

TEST_F(housekeeping_access, does_nothing_when_refused) {
    for (const char *name :
         {".metadata_never_index", ".Spotlight-V100/a", ".Trashes/a", ".fseventd/no_log"})
        volume().make_file(name);
    tick();
    const std::function<void(QFileDialog &)> ways_to_refuse[] = {
        [](QFileDialog &panel) { press(panel, "Cancel"); },
        [](QFileDialog &panel) { press_key(panel, Qt::Key_Escape); },
        [](QFileDialog &panel) { panel.close(); }};
    for (const auto &refuse : ways_to_refuse) {
        for (const action &wanted : actions()) {
            answers user;
            expect_question(user, wanted.name, path_of(wanted.marker), refuse);
            EXPECT_EQ(click(wanted.button), wanted.refused) << wanted.name;
        }
    }
    EXPECT_EQ(volume().content(),
              lines({".Spotlight-V100", ".Trashes", ".fseventd", ".metadata_never_index"}));
    EXPECT_TRUE(fs::exists(path_of(".fseventd/no_log")));
    EXPECT_TRUE(fs::exists(path_of(".Trashes/a")));
    EXPECT_EQ(spotlight_title(), "Enable Spotlight");
    EXPECT_EQ(logging_title(), "Disable Logging");
}

TEST_F(housekeeping_access, creates_no_marker_when_refused) {
    for (const action &wanted : actions()) {
        answers user;
        expect_question(user, wanted.name, path_of(wanted.marker),
                        [](QFileDialog &panel) { press(panel, "Cancel"); });
        EXPECT_EQ(click(wanted.button), wanted.refused) << wanted.name;
    }
    EXPECT_EQ(volume().content(), nothing);
    EXPECT_EQ(spotlight_title(), "Disable Spotlight");
    EXPECT_EQ(logging_title(), "Disable Logging");
}

using housekeeping_race = app_tests::housekeeping;

TEST_F(housekeeping_race, ignores_marker_removed_meanwhile) {
    volume().make_file(".Trashes/a");
    log_interceptor somebody("OK\n", [&] { fs::remove_all(path_of(".Trashes")); });
    QTest::mouseClick(app().UI_removeTrashesData_outlet, Qt::LeftButton);
    EXPECT_EQ(somebody.said(), lines({"OK", "d: b: 1", "-4"}));
    EXPECT_EQ(volume().content(), nothing);
}

TEST_F(housekeeping_race, logging_toggle_reports_marker_removed_meanwhile) {
    volume().make_file(".fseventd/no_log");
    log_interceptor somebody("", [&] { fs::remove(path_of(".fseventd/no_log")); });
    QTest::mouseClick(app().UI_disableLogging_outlet, Qt::LeftButton);
    EXPECT_EQ(somebody.said(),
              lines({"d: b 1", "ERR: " + path_of(".fseventd/no_log: No such file or directory")}));
    EXPECT_EQ(logging_title(), "Disable Logging");
}

TEST_F(housekeeping_race, does_not_follow_link_created_meanwhile) {
    const private_folder users;
    volume().make_folder(".fseventd");
    log_interceptor somebody(
        "", [&] { fs::create_symlink(users.path() + "/new", path_of(".fseventd/no_log")); });
    QTest::mouseClick(app().UI_disableLogging_outlet, Qt::LeftButton);
    EXPECT_EQ(somebody.said(),
              lines({"d: b 0", "ERR: Can't write file " + path_of(".fseventd/no_log") + "."}));
    EXPECT_TRUE(fs::is_empty(users.path()));
}

TEST_F(housekeeping_race, does_not_empty_file_created_meanwhile) {
    volume().make_folder(".fseventd");
    log_interceptor somebody("", [&] { volume().make_file(".fseventd/no_log"); });
    QTest::mouseClick(app().UI_disableLogging_outlet, Qt::LeftButton);
    EXPECT_EQ(somebody.said(),
              lines({"d: b 0", "ERR: Can't write file " + path_of(".fseventd/no_log") + "."}));
    EXPECT_EQ(fs::file_size(path_of(".fseventd/no_log")), 7U);
}

TEST_F(housekeeping_race, ignores_spotlight_data_removed_meanwhile) {
    volume().make_file(".Spotlight-V100/a");
    log_interceptor somebody("OK\n", [&] { fs::remove_all(path_of(".Spotlight-V100")); });
    QTest::mouseClick(app().UI_removeSpotlightData_outlet, Qt::LeftButton);
    EXPECT_EQ(somebody.said(), lines({"OK", "d: b: 1", "-4"}));
}

// Without a volume, the question names the path that the action would change.
TEST_F(housekeeping_access, asks_without_volume) {
    selectedVolumePath = "-";
    selectedVolume.reset();
    answers user;
    expect_question(user, ".Trashes", "-/.Trashes",
                    [](QFileDialog &panel) { press(panel, "Cancel"); });
    EXPECT_EQ(click(app().UI_removeTrashesData_outlet), lines({"not OK"}));
}
