// Messages from the job's thread to the main thread, in the order in which they
// were sent. The job never waits for the window: a message is handed over with one
// store that publishes it, and a byte in a pipe wakes the main thread's event loop.
// Built from what the thread sanitizer can see, unlike the window library's own
// queue.
#ifndef TROVIK_APP_MAILBOX_H
#define TROVIK_APP_MAILBOX_H

#include <atomic>
#include <functional>
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

// One sender at a time, one receiver: the thread that made the mailbox.
class mailbox {
 public:
    // `on_arrival` is called on the main thread, from its event loop, when there
    // may be something to take.
    explicit mailbox(std::function<void()> on_arrival);
    ~mailbox();
    mailbox(const mailbox &) = delete;
    mailbox &operator=(const mailbox &) = delete;

    // Job's thread.
    void send(mail message);
    // Job's thread: blocks until answer() is called on the main thread, or for ever.
    void wait_for_answer();

    // Main thread: the oldest message, or nothing.
    std::optional<mail> take();
    // Main thread.
    void answer();

 private:
    struct node {
        mail message;
        std::atomic<node *> next{nullptr};
    };

    void on_readable();

    std::function<void()> m_on_arrival;
    node *m_first;  // main thread: the last one taken; what follows it is unread
    node *m_last;   // job's thread
    int m_wake[2];  // job's thread to main thread
    int m_reply[2];
    QSocketNotifier *m_notifier;
};

#endif
