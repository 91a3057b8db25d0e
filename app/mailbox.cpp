// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/mailbox.h"

#include <fcntl.h>
#include <unistd.h>

#include <QSocketNotifier>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

mailbox::mailbox(std::function<void()> on_arrival) : m_on_arrival(std::move(on_arrival)) {
    if (pipe(m_wake) != 0)
        throw std::system_error(errno, std::generic_category(), "a pipe could not be made");
    for (const int end : m_wake) {
        fcntl(end, F_SETFD, FD_CLOEXEC);
        fcntl(end, F_SETFL, O_NONBLOCK);
    }
    m_notifier = new QSocketNotifier(m_wake[0], QSocketNotifier::Read);
    QObject::connect(m_notifier, &QSocketNotifier::activated, m_notifier,
                     [this] { on_readable(); });
}

mailbox::~mailbox() {
    delete m_notifier;
    for (const int end : m_wake)
        close(end);
}

void mailbox::send(mail message) {
    {
        const std::lock_guard lock(m_mutex);
        m_mails.push_back(std::move(message));
    }
    // A full pipe wakes the receiver, too.
    const char wake = 0;
    while (write(m_wake[1], &wake, 1) < 0 && errno == EINTR) {
    }
}

void mailbox::wait_for_answer() {
    std::unique_lock lock(m_mutex);
    m_answer.wait(lock, [this] { return m_answered; });
    m_answered = false;
}

std::optional<mail> mailbox::take() {
    const std::lock_guard lock(m_mutex);
    if (m_mails.empty())
        return std::nullopt;
    std::optional<mail> oldest = std::move(m_mails.front());
    m_mails.pop_front();
    return oldest;
}

void mailbox::answer() {
    const std::lock_guard lock(m_mutex);
    m_answered = true;
    m_answer.notify_one();
}

void mailbox::on_readable() {
    std::array<char, 64> bytes{};
    while (read(m_wake[0], bytes.data(), bytes.size()) > 0) {
    }
    m_on_arrival();
}
