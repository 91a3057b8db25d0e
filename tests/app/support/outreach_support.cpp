// SPDX-License-Identifier: GPL-3.0-or-later
#include "outreach_support.h"

#include <signal.h>
#include <sys/mount.h>
#include <unistd.h>

#include <QApplication>
#include <QDesktopServices>
#include <QLabel>
#include <QMainWindow>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QScreen>
#include <QScrollArea>
#include <QTest>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace app_tests {

namespace fs = std::filesystem;

static const char *const schemes[] = {"http", "https", "macappstore", "mailto"};

link_catcher::link_catcher() {
    QObject::connect(
        &m_receiver, &QTextBrowser::anchorClicked, &m_receiver,
        [this](const QUrl &url) { m_links.append(QString::fromLatin1(url.toEncoded())); });
    for (const char *scheme : schemes)
        QDesktopServices::setUrlHandler(scheme, &m_receiver, "anchorClicked");
}

link_catcher::~link_catcher() {
    for (const char *scheme : schemes)
        QDesktopServices::unsetUrlHandler(scheme);
}

std::vector<std::string> log_of(const std::function<void()> &act) {
    const error_capture log;
    act();
    return log.lines();
}

static QString contents_of(const QWidget &widget) {
    QStringList all;
    for (const char *property : {"text", "plainText", "value", "maximum", "title", "toolTip",
                                 "accessibleName", "enabled", "visible", "windowTitle"})
        all.append(widget.property(property).toString());
    const QRect place = widget.geometry();
    all.append(QStringLiteral("%1,%2 %3x%4")
                   .arg(place.x())
                   .arg(place.y())
                   .arg(place.width())
                   .arg(place.height()));
    return all.join(QStringLiteral(" | "));
}

QMap<QString, QString> window_contents(const QWidget &window) {
    QMap<QString, QString> all;
    all.insert(QStringLiteral("the window"), contents_of(window));
    for (const QWidget *widget : window.findChildren<QWidget *>()) {
        // Not what is shown over it.
        if (widget->window() == &window && !widget->objectName().isEmpty())
            all.insert(widget->objectName(), contents_of(*widget));
    }
    return all;
}

QAbstractButton &button_named(const TRAppDelegate &app, const QString &name) {
    auto *const button = app.window->findChild<QAbstractButton *>(name);
    if (button == nullptr) {
        ADD_FAILURE() << "the window has no button " << name.toStdString();
        std::abort();
    }
    return *button;
}

void press_key(QDialog &dialog, Qt::Key key, Qt::KeyboardModifiers modifiers) {
    ASSERT_NE(dialog.focusWidget(), nullptr);
    QTest::keyClick(dialog.focusWidget(), key, modifiers);
}

static bool scrolls(const QWidget &widget) {
    for (const QWidget *above = widget.parentWidget(); above != nullptr;
         above = above->parentWidget()) {
        if (dynamic_cast<const QScrollArea *>(above) != nullptr)
            return true;
    }
    return false;
}

static void expect_room_for_text(const QLabel &label) {
    const QRect room = label.contentsRect();
    const QRect needed = label.fontMetrics().boundingRect(
        QRect(0, 0, room.width(), 1 << 20),
        static_cast<int>(label.alignment()) | (label.wordWrap() ? Qt::TextWordWrap : 0),
        label.text());
    EXPECT_LE(needed.width(), room.width()) << label.text().toStdString();
    EXPECT_LE(needed.height(), room.height()) << label.text().toStdString();
}

void expect_nothing_clipped(const QDialog &dialog) {
    const QRect screen = dialog.screen()->availableGeometry();
    EXPECT_LE(dialog.frameGeometry().width(), screen.width());
    EXPECT_LE(dialog.frameGeometry().height(), screen.height());
    QList<const QWidget *> controls;
    for (const QWidget *widget : dialog.findChildren<QWidget *>()) {
        if (!widget->isVisible() || widget->window() != &dialog)
            continue;
        const auto *const label = dynamic_cast<const QLabel *>(widget);
        const auto *const button = dynamic_cast<const QAbstractButton *>(widget);
        if (label != nullptr)
            expect_room_for_text(*label);
        else if (button == nullptr)
            continue;
        if (scrolls(*widget))
            continue;
        if (button != nullptr) {
            EXPECT_GE(button->width(), button->sizeHint().width()) << button->text().toStdString();
            EXPECT_GE(button->height(), button->minimumSizeHint().height());
        }
        const QRect place(widget->mapTo(&dialog, QPoint()), widget->size());
        EXPECT_TRUE(dialog.rect().contains(place)) << contents_of(*widget).toStdString();
        for (const QWidget *other : controls) {
            const QRect taken(other->mapTo(&dialog, QPoint()), other->size());
            EXPECT_FALSE(taken.intersects(place)) << contents_of(*widget).toStdString() << " over "
                                                  << contents_of(*other).toStdString();
        }
        controls.append(widget);
    }
}

working_directory::working_directory(const std::string &path) : m_before(fs::current_path()) {
    fs::current_path(path);
}

working_directory::~working_directory() {
    fs::current_path(m_before);
}

// The process that serves this mount point: our child with the path among its arguments.
static pid_t server_of(const std::string &mount_point) {
    for (const auto &entry : fs::directory_iterator("/proc")) {
        const std::string number = entry.path().filename();
        if (number.find_first_not_of("0123456789") != std::string::npos)
            continue;
        std::ifstream words_file(entry.path() / "cmdline", std::ios::binary);
        const std::string words{std::istreambuf_iterator<char>(words_file), {}};
        std::ifstream stat_file(entry.path() / "stat");
        const std::string stat{std::istreambuf_iterator<char>(stat_file), {}};
        const std::string after_name = stat.substr(stat.rfind(')') + 1);
        if (words.find(mount_point) != std::string::npos && after_name.size() > 3 &&
            std::stoi(after_name.substr(3)) == getpid())
            return std::stoi(number);
    }
    return -1;
}

stalling_card::stalling_card(std::vector<std::string> options)
    : card(std::move(options)), m_server(server_of(path())) {
    EXPECT_GT(m_server, 0) << "the card's server was not found";
}

stalling_card::~stalling_card() {
    go_on();
}

void stalling_card::stall() {
    ASSERT_GT(m_server, 0);
    EXPECT_EQ(kill(m_server, SIGSTOP), 0) << std::strerror(errno);
}

void stalling_card::go_on() {
    if (m_server > 0) {
        EXPECT_EQ(kill(m_server, SIGCONT), 0) << std::strerror(errno);
    }
}

void stalling_card::make_full_folder(const std::string &name, int count) const {
    ASSERT_TRUE(fs::create_directory(file(name)));
    for (int i = 0; i < count; ++i)
        EXPECT_TRUE(std::ofstream(file(name) + "/entry " + std::to_string(i)));
}

std::string missing_for_own_mounts() {
    if (std::string missing = test_support::missing_for_mounts(); !missing.empty())
        return missing;
    std::error_code unreadable;
    const fs::path ours = fs::read_symlink("/proc/self/ns/mnt", unreadable);
    const fs::path parents =
        fs::read_symlink("/proc/" + std::to_string(getppid()) + "/ns/mnt", unreadable);
    if (unreadable || ours == parents)
        return "this process has no mounts of its own";
    return {};
}

covered_file::covered_file(const std::string &path, const std::string &text) : m_path(path) {
    const std::string cover = m_folder.path() + "/cover";
    EXPECT_TRUE(std::ofstream(cover) << text);
    EXPECT_EQ(mount(cover.c_str(), m_path.c_str(), nullptr, MS_BIND, nullptr), 0)
        << m_path << ": " << std::strerror(errno);
}

covered_file::~covered_file() {
    EXPECT_EQ(umount2(m_path.c_str(), 0), 0) << m_path << ": " << std::strerror(errno);
}

}  // namespace app_tests
