// A linked list with one writer per end: the sender writes the link behind the last
// message, the receiver frees what it has passed.
#include "app/mailbox.h"

#include <fcntl.h>
#include <unistd.h>

#include <QSocketNotifier>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

static void open_pipe(int (&ends)[2], bool blocking) {
    if (pipe(ends) != 0)
        throw std::system_error(errno, std::generic_category(), "a pipe could not be made");
    for (const int end : ends) {
        fcntl(end, F_SETFD, FD_CLOEXEC);
        if (!blocking)
            fcntl(end, F_SETFL, O_NONBLOCK);
    }
}

mailbox::mailbox(std::function<void()> on_arrival)
    : m_on_arrival(std::move(on_arrival)), m_first(new node), m_last(m_first) {
    open_pipe(m_wake, false);
    open_pipe(m_reply, true);
    m_notifier = new QSocketNotifier(m_wake[0], QSocketNotifier::Read);
    QObject::connect(m_notifier, &QSocketNotifier::activated, m_notifier,
                     [this] { on_readable(); });
}

mailbox::~mailbox() {
    delete m_notifier;
    for (const int end : {m_wake[0], m_wake[1], m_reply[0], m_reply[1]})
        close(end);
    while (take()) {
    }
    delete m_first;
}

void mailbox::send(mail message) {
    node *const sent = new node;
    sent->message = std::move(message);
    m_last->next.store(sent, std::memory_order_release);
    m_last = sent;
    // A pipe that is full wakes the receiver just as well.
    const char wake = 0;
    while (write(m_wake[1], &wake, 1) < 0 && errno == EINTR) {
    }
}

void mailbox::wait_for_answer() {
    char answer = 0;
    while (read(m_reply[0], &answer, 1) < 0 && errno == EINTR) {
    }
}

std::optional<mail> mailbox::take() {
    node *const next = m_first->next.load(std::memory_order_acquire);
    if (next == nullptr)
        return std::nullopt;
    delete m_first;
    m_first = next;
    return std::move(next->message);
}

void mailbox::answer() {
    const char answer = 0;
    while (write(m_reply[1], &answer, 1) < 0 && errno == EINTR) {
    }
}

void mailbox::on_readable() {
    std::array<char, 64> bytes{};
    while (read(m_wake[0], bytes.data(), bytes.size()) > 0) {
    }
    m_on_arrival();
}
