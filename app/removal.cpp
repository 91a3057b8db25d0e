// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/removal.h"

#include <QApplication>
#include <QCloseEvent>
#include <QEventLoop>
#include <QLabel>
#include <QProgressDialog>
#include <QThread>
#include <QTimer>
#include <atomic>
#include <functional>
#include <system_error>
#include <thread>

#include "app/alert.h"
#include "report/printable.h"

constexpr int poll_ms = 20;

// In pixels. A path without blanks has no place for a line break.
constexpr int widest_path = 560;

// Has no button: a removal cannot be stopped halfway.
class removal_dialog : public QProgressDialog {
 public:
    removal_dialog(QWidget *parent, const std::string &path)
        : QProgressDialog(parent),
          m_what("Removing " +
                 fontMetrics().elidedText(QString::fromStdString(printable_text(path)),
                                          Qt::ElideMiddle, widest_path)) {
        setWindowTitle(QStringLiteral("trovik"));
        auto *const words = new QLabel(this);
        words->setTextFormat(Qt::PlainText);
        words->setWordWrap(true);
        setLabel(words);
        setWindowModality(Qt::ApplicationModal);
        setCancelButton(nullptr);
        setRange(0, 0);
        setMinimumWidth(420);
        setAutoReset(false);
        show_removed(0);
        // The caller shows the dialog, not its own timer.
        setMinimumDuration(1000 * 1000);
        reset();
    }

    void show_removed(std::uint64_t count) {
        setLabelText(m_what + QStringLiteral("\n%1 items so far").arg(count));
    }

 protected:
    void reject() override {}
    void closeEvent(QCloseEvent *event) override { event->ignore(); }

 private:
    QString m_what;
};

namespace {

// The worker thread and its result.
struct removal {
    explicit removal(const remove_tree_entry &entry) {
        const auto work = [this, entry] {
            error = remove_tree(entry, removed);
            done.store(true, std::memory_order_release);
        };
        try {
            worker = std::thread(work);
        } catch (const std::system_error &) {
            work();
        }
    }
    ~removal() {
        if (worker.joinable())
            worker.join();
    }
    removal(const removal &) = delete;
    removal &operator=(const removal &) = delete;

    std::atomic<std::uint64_t> removed{0};
    remove_tree_error error;
    std::atomic<bool> done{false};
    std::thread worker;
};

// Runs the event loop until the removal is done, at most `patience_ms` unless that is negative.
bool wait_for(const removal &work, int patience_ms, QEventLoop::ProcessEventsFlags flags,
              const std::function<void()> &each_time) {
    QEventLoop loop;
    QTimer poll;
    int waited_ms = 0;
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        waited_ms += poll_ms;
        each_time();
        if (work.done.load(std::memory_order_acquire) ||
            (patience_ms >= 0 && waited_ms >= patience_ms))
            loop.quit();
    });
    poll.start(poll_ms);
    loop.exec(flags);
    return work.done.load(std::memory_order_acquire);
}

}  // namespace

// In a program that is about to quit, an event loop returns at once. The removal still goes on to
// its end, and the window still paints.
static void wait_without_loop(const removal &work) {
    while (!work.done.load(std::memory_order_acquire)) {
        QApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
        QThread::msleep(poll_ms);
    }
}

remove_tree_error removal_run(QWidget *parent, const remove_tree_entry &entry, int quiet_ms) {
    const modal_question question;
    removal work(entry);
    // Input of the first moment stays queued until the dialog takes it.
    if (!wait_for(work, quiet_ms, QEventLoop::ExcludeUserInputEvents, [] {})) {
        removal_dialog dialog(parent, entry.path());
        wait_for(work, -1, QEventLoop::AllEvents, [&] {
            dialog.show_removed(work.removed.load(std::memory_order_relaxed));
            // Never over an alert that waits for an answer.
            if (!dialog.isVisible() && QApplication::activeModalWidget() == nullptr)
                dialog.show();
        });
        wait_without_loop(work);
    }
    if (work.worker.joinable())
        work.worker.join();
    return work.error;
}
