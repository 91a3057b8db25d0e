// SPDX-License-Identifier: GPL-3.0-or-later
/* The thread that stores pages in the page cache. */
#include "tools/cardsim/page_publisher.h"

#include <fuse_lowlevel.h>

#include <csignal>

namespace cardsim {

void page_publisher::stop() {
    if (!m_thread.joinable()) {
        return;
    }
    {
        const std::lock_guard lock(m_mutex);
        m_stop = true;
    }
    m_changed.notify_one();
    m_thread.join();
}

void page_publisher::start(fuse_session *session) {
    m_session = session;
    // Signals end the program by interrupting the thread that waits for requests; this
    // thread must not receive them.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    m_thread = std::thread([this] { work(); });
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void page_publisher::publish(uint64_t node_number, written_bytes page, std::function<void()> then) {
    {
        const std::lock_guard lock(m_mutex);
        m_jobs.push_back({node_number, std::move(page), std::move(then)});
    }
    m_changed.notify_one();
}

bool page_publisher::idle() {
    const std::lock_guard lock(m_mutex);
    return m_jobs.empty() && !m_working;
}

void page_publisher::work() {
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return m_stop || !m_jobs.empty(); });
        if (m_jobs.empty()) {
            return;
        }
        job next = std::move(m_jobs.front());
        m_jobs.pop_front();
        m_working = true;
        lock.unlock();
        hand_over(next);
        lock.lock();
        m_working = false;
    }
}

void page_publisher::hand_over(job &next) {
    fuse_bufvec data = {};
    data.count = 1;
    data.buf[0].size = next.page.bytes.size();
    data.buf[0].mem = next.page.bytes.data();
    data.buf[0].fd = -1;
    fuse_lowlevel_notify_store(m_session, next.node_number, static_cast<off_t>(next.page.offset),
                               &data, static_cast<fuse_buf_copy_flags>(0));
    next.then();
}

}  // namespace cardsim
