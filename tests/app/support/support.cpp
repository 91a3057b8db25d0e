// SPDX-License-Identifier: GPL-3.0-or-later
#include "support.h"

#include <fcntl.h>
#include <unistd.h>

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QMainWindow>
#include <QPixmap>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QTest>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <utility>

#include "app/controller_state.h"
#include "app/outreach.h"
#include "app/platform.h"
#include "model/engine_log.h"
#include "model/engine_publish.h"
#include "model/engine_record.h"
#include "volume/folder_anchor.h"

namespace app_tests {

constexpr int look_period_ms = 10;
constexpr int looks_for_active_window = 100;

answers::answers() {
    QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { look_for_dialog(); });
    m_timer.start(look_period_ms);
}

answers::~answers() {
    EXPECT_TRUE(m_steps.empty()) << m_steps.size() << " answers were never asked for";
}

void answers::then(std::function<void(QDialog &)> act) {
    m_steps.push_back(std::move(act));
}

void answers::then_press(const QString &title, std::function<void(QMessageBox &)> look) {
    then([title, look](QDialog &dialog) {
        auto *const alert = dynamic_cast<QMessageBox *>(&dialog);
        if (alert == nullptr) {
            ADD_FAILURE() << "a panel was shown instead of an alert with " << title.toStdString();
            dialog.reject();
            return;
        }
        if (look)
            look(*alert);
        if (QAbstractButton *const button = button_with_title(*alert, title))
            button->click();
        else
            alert->reject();
    });
}

void answers::look_for_dialog() {
    auto *const dialog = dynamic_cast<QDialog *>(QApplication::activeModalWidget());
    if (dialog == nullptr || dialog == m_last || !dialog->isVisible())
        return;
    // Keys go to the active window. Some screens never activate one.
    if (!dialog->isActiveWindow() && m_looks++ < looks_for_active_window)
        return;
    m_looks = 0;
    m_last = dialog;
    if (m_steps.empty()) {
        const auto *const alert = dynamic_cast<QMessageBox *>(dialog);
        const QString question = alert != nullptr ? alert->text() + ": " + alert->informativeText()
                                                  : dialog->windowTitle();
        ADD_FAILURE() << "unexpected question: " << question.toStdString();
        dialog->reject();
        return;
    }
    // Outside this timer's signal, so that the timer sees dialogs of the dialog, too.
    QTimer::singleShot(0, dialog, [act = std::move(m_steps.front()), dialog] { act(*dialog); });
    m_steps.pop_front();
}

static QString title_of(const QAbstractButton &button) {
    return button.text().replace("&&", "&");
}

QStringList button_titles(const QMessageBox &alert) {
    QList<QAbstractButton *> buttons = alert.buttons();
    std::sort(buttons.begin(), buttons.end(),
              [](const QAbstractButton *left, const QAbstractButton *right) {
                  return left->mapToGlobal(QPoint()).x() < right->mapToGlobal(QPoint()).x();
              });
    QStringList titles;
    for (const QAbstractButton *button : buttons)
        titles.append(title_of(*button));
    return titles;
}

QAbstractButton *button_with_title(const QMessageBox &alert, const QString &title) {
    for (QAbstractButton *button : alert.buttons()) {
        if (title_of(*button) == title)
            return button;
    }
    ADD_FAILURE() << "the alert \"" << alert.text().toStdString() << "\" has no button "
                  << title.toStdString();
    return nullptr;
}

error_capture::error_capture() : m_real(dup(STDERR_FILENO)), m_file(-1) {
    std::fflush(stderr);
    const std::string name = QDir::tempPath().toStdString() + "/trovik-test-XXXXXX";
    std::vector<char> path(name.begin(), name.end());
    path.push_back('\0');
    m_file = mkostemp(path.data(), O_APPEND | O_CLOEXEC);
    unlink(path.data());
    dup2(m_file, STDERR_FILENO);
}

error_capture::~error_capture() {
    std::fflush(stderr);
    dup2(m_real, STDERR_FILENO);
    close(m_real);
    close(m_file);
}

std::string error_capture::text() const {
    std::fflush(stderr);
    std::string all;
    std::vector<char> buffer(65536);
    ssize_t got = 0;
    while ((got = pread(m_file, buffer.data(), buffer.size(), static_cast<off_t>(all.size()))) > 0)
        all.append(buffer.data(), static_cast<size_t>(got));
    return all;
}

std::vector<std::string> error_capture::lines() const {
    std::vector<std::string> all;
    std::istringstream stream(text());
    for (std::string line; std::getline(stream, line);) {
        if (line.rfind("dd: ", 0) != 0 && line.rfind("This plugin does not support ", 0) != 0)
            all.push_back(line);
    }
    return all;
}

void reset_controller_state() {
    uiState = UI_STATE_INIT;
    selectedVolumePath = "-";
    selectedVolumeCapacity.reset();
    selectedVolume.reset();
    selectedVolumeWritable = 0;
    volumeErrorMessage.clear();
    reportSummary.clear();
    jobThread.reset();
    sandbox_override(std::nullopt);
    engine_log_take();
    publish_write_period(0.0, "", 0.0);
    record_phase(ENGINE_PHASE_IDLE);
    // Most tests do without the question after each result.
    app_settings_suppress_feedback();
}

bool wait_until(const std::function<bool()> &holds) {
    return QTest::qWaitFor(holds, patience_ms);
}

window_test::window_test() {
    reset_controller_state();
    m_app = std::make_unique<TRAppDelegate>();
    m_app->mediumIsMemory = true;  // as a simulated card's is
    m_app->window->show();
    QTest::qWait(1);
}

window_test::~window_test() {
    wait_for_job();
}

void window_test::accept_disclaimer() {
    answers user;
    user.then_press("Yes, I know what I am doing");
    m_app->applicationDidFinishLaunching();
}

void window_test::choose(const std::string &folder) {
    ASSERT_TRUE(m_app->selectVolumeOfFolder(QString::fromStdString(folder)));
    tick();
}

void window_test::run_test() {
    ASSERT_TRUE(m_app->UI_start->isEnabled());
    m_app->pauseOfJob = std::chrono::milliseconds(50);
    m_app->UI_start->click();
    ASSERT_TRUE(wait_until([] { return uiState == UI_STATE_WAITING; }));
}

void window_test::wait_for_job() {
    if (jobThread) {
        EXPECT_TRUE(wait_until([] { return !jobThread->is_executing(); }));
    }
}

std::string window_test::console() const {
    return m_app->UI_consoleOutput->toPlainText().toStdString();
}

std::vector<std::string> window_test::console_lines() const {
    std::vector<std::string> all;
    std::istringstream stream(console());
    for (std::string line; std::getline(stream, line);)
        all.push_back(line);
    return all;
}

void window_test::close_window() {
    m_app->window->close();
}

void take_picture(QWidget &widget, const QString &name) {
    const char *const folder = std::getenv("TROVIK_PICTURES");
    if (folder == nullptr)
        return;
    QDir().mkpath(folder);
    QTest::qWait(50);
    ASSERT_TRUE(widget.grab().save(QString(folder) + "/" + name + ".png"));
}

}  // namespace app_tests
