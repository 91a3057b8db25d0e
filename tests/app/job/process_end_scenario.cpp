// SPDX-License-Identifier: GPL-3.0-or-later
// A simulated user in a process of its own, because these stories end the process:
// tests_app_scenario STORY VOLUME. It accepts the disclaimer, chooses the volume, presses Start,
// and follows the story. It prints each thing that the user sees as one line:
//
//   alert: MESSAGE | INFORMATIVE | BUTTONS    line breaks as \n
//   testing, phase: writing, phase: reading
//   result: VERDICT
//   closing the window                        and other actions of the user
#include <QApplication>
#include <QLabel>
#include <QMainWindow>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QTimer>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>
#include <thread>

#include "app/TRAppDelegate.h"
#include "app/alert.h"
#include "app/controller_state.h"
#include "model/engine_results.h"
#include "pictures.h"

namespace {

void say(const QString &line) {
    QString escaped = line;
    std::printf("%s\n", escaped.replace('\n', "\\n").toUtf8().constData());
    std::fflush(stdout);
}

// The signal to go on.
sigset_t told() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGUSR1);
    return set;
}

// The user: looks at the window a hundred times a second.
class user {
 public:
    user(TRAppDelegate &app, std::string story) : m_app(app), m_story(std::move(story)) {
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { look(); });
        m_timer.start(10);
    }

 private:
    void look() {
        if (auto *const box = dynamic_cast<QMessageBox *>(QApplication::activeModalWidget()))
            see_alert(*box);
        const engine_phase before = m_phase;
        m_phase = engine_results_phase();
        if (m_phase == ENGINE_PHASE_WRITING && before != m_phase)
            see_writing();
        // The phase begins before its first test file is there.
        if (m_story == "close" && m_app.window->isVisible() && written().bytes_written != 0)
            close();
        if (m_phase == ENGINE_PHASE_READING && before != m_phase)
            say("phase: reading");
        if (m_tested && uiState == UI_STATE_WAITING)
            see_result();
        if (!m_tested && uiState == UI_STATE_TESTING) {
            m_tested = true;
            say("testing");
        }
    }

    void see_alert(QMessageBox &box) {
        if (m_last == &box || !box.isVisible())
            return;
        m_last = &box;
        if (box.text().startsWith("Create BACKUP")) {
            box.buttons().constLast()->click();
            return;
        }
        QStringList titles;
        for (const QAbstractButton *button : box.buttons())
            titles += button->text();
        say("alert: " + box.text() + " | " + box.informativeText() + " | " + titles.join(", "));
        // Only the engine's failure is critical; other alerts stay open.
        if (box.icon() != QMessageBox::Critical)
            return;
        if (m_story == "take-pictures")
            app_tests::take_both_palettes(box, "end-of-process");
        if (m_story == "close-over-the-alert")
            close();
        else
            box.buttons().constFirst()->click();
    }

    void see_writing() {
        say("phase: writing");
        if (m_story == "close-before-the-alert") {
            miss_the_failure();
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            close();
        }
        if (m_story == "busy-until-told") {
            miss_the_failure();
            say("writing has failed");
            sigset_t word = told();
            int number = 0;
            sigwait(&word, &number);
        }
        if (m_story == "with-an-alert-open")
            QTimer::singleShot(0, m_app.window, [this] {
                alert_run(m_app.window,
                          {.message = "A question", .informative = {}, .buttons = {"OK"}});
                say("the question is closed");
            });
    }

    static engine_write_results written() {
        engine_write_results results = {};
        engine_results_write(&results);
        return results;
    }

    // Keeps the main thread busy until the engine has failed.
    static void miss_the_failure() {
        while (written().write_error == 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }

    void see_result() {
        m_tested = false;
        say("result: " + m_app.window->findChild<QLabel *>("verdictTitle")->text());
        close();
    }

    void close() {
        say("closing the window");
        m_app.window->close();
    }

    TRAppDelegate &m_app;
    const std::string m_story;
    QTimer m_timer;
    QPointer<QMessageBox> m_last;
    engine_phase m_phase = ENGINE_PHASE_IDLE;
    bool m_tested = false;
};

}  // namespace

int main(int argc, char *argv[]) {
    if (argc != 3)
        return EXIT_FAILURE;
    const std::string story = argv[1];
    // Before there are other threads.
    const sigset_t word = told();
    pthread_sigmask(SIG_BLOCK, &word, nullptr);
    const QString volume = QString::fromLocal8Bit(argv[2]);
    QApplication app(argc, argv);
    TRAppDelegate controller;
    controller.mediumIsMemory = true;  // as a simulated card's is
    QApplication::setQuitOnLastWindowClosed(
        controller.applicationShouldTerminateAfterLastWindowClosed());
    QObject::connect(&app, &QCoreApplication::aboutToQuit, &controller,
                     [&] { controller.applicationWillTerminate(); });
    controller.window->show();
    user somebody(controller, story);
    QTimer::singleShot(0, &controller, [&] {
        controller.applicationDidFinishLaunching();
        if (controller.selectVolumeOfFolder(volume)) {
            controller.updateUI();
            controller.UI_start->click();
        }
    });
    return controller.leaveProcess(QApplication::exec());
}
