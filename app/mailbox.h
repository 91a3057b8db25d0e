// SPDX-License-Identifier: GPL-3.0-or-later
// Messages from the job's thread to the main thread, in the order in which they were sent.
//
// The mutex guards the list alone and is held for one push or one take. The engine never
// locks it: in its phases it writes only its own log and values. Two callers on the job's
// thread send: the job, for its lines before the first phase, and the handler of fatal
// errors, after which the engine does nothing more.
//
// Built from standard parts because the thread sanitizer does not see into Qt's own queue.
#ifndef TROVIK_APP_MAILBOX_H
#define TROVIK_APP_MAILBOX_H

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

class QSocketNotifier;

enum class mail_kind {
    console_text,    // for the console
    engine_failure,  // the engine is about to end the process; see wait_for_answer
};

struct mail {
    mail_kind kind = mail_kind::console_text;
    std::string text;
};

class mailbox {
 public:
    // Calls `on_arrival` from the event loop of this thread when there may be mail to take.
    explicit mailbox(std::function<void()> on_arrival);
    ~mailbox();
    mailbox(const mailbox &) = delete;
    mailbox &operator=(const mailbox &) = delete;

    // Any thread. Does not wait for the receiver.
    void send(mail message);
    // Job's thread: blocks until answer() was called. One answer() ends one wait.
    void wait_for_answer();

    // Main thread: the oldest message, or nothing.
    std::optional<mail> take();
    // Main thread.
    void answer();

 private:
    void on_readable();

    std::function<void()> m_on_arrival;
    std::mutex m_mutex;
    std::deque<mail> m_mails;
    bool m_answered = false;
    std::condition_variable m_answer;
    int m_wake[2];  // a pipe that the notifier watches
    QSocketNotifier *m_notifier;
};

#endif
