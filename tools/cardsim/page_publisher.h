// SPDX-License-Identifier: GPL-3.0-or-later
/* Stores written pages in the kernel's page cache, on a thread of its own.
 *
 * The kernel locks a page while it waits for an answer about it. Storing a page waits for
 * that lock, so the thread that answers requests must not do it: it could deadlock, waiting
 * for its own answer. */
#ifndef TROVIK_TOOLS_CARDSIM_PAGE_PUBLISHER_H
#define TROVIK_TOOLS_CARDSIM_PAGE_PUBLISHER_H

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "tools/cardsim/written_page.h"

struct fuse_session;

namespace cardsim {

class page_publisher {
 public:
    page_publisher() = default;
    page_publisher(const page_publisher &) = delete;
    page_publisher &operator=(const page_publisher &) = delete;
    ~page_publisher() { stop(); }

    /* Call once, before publish(). The session must live until stop(). */
    void start(fuse_session *session);

    /* Stores the remaining pages, then ends the thread. Call it only when idle, or after the
     * kernel has ended the connection: otherwise it could wait for ever. */
    void stop();

    /* Stores the page, then calls then, both on the other thread. A page that cannot be
     * stored is dropped: the kernel reads it from the card instead. */
    void publish(uint64_t node_number, written_bytes page, std::function<void()> then);

    /* True if no page is waiting. Any thread. */
    bool idle();

 private:
    struct job {
        uint64_t node_number;
        written_bytes page;
        std::function<void()> then;
    };
    void work();
    void hand_over(job &next);

    fuse_session *m_session = nullptr;
    std::mutex m_mutex;  // guards the members below, up to the thread
    std::condition_variable m_changed;
    std::deque<job> m_jobs;
    bool m_working = false;
    bool m_stop = false;
    std::thread m_thread;
};

}  // namespace cardsim

#endif
