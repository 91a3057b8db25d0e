/* Hands written pages to the host's memory, on a thread of its own.
 *
 * The kernel locks a page while it waits for an answer about it. Handing over a
 * page waits for that lock, so whoever answers requests must not do it: it could
 * wait for an answer that only it can give. */
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

    /* Hands over what is left, then ends the thread. Call it only when idle, or when
     * the kernel has ended the connection: otherwise it could wait for ever. */
    void stop();

    /* Hands the page over and calls then, both on the other thread. A page that
     * cannot be handed over is dropped: the host reads it from the card instead. */
    void publish(uint64_t node_number, written_bytes page, std::function<void()> then);

    /* Whether everything has been handed over. Any thread may ask. */
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
    std::mutex m_mutex;  // guards what follows, up to the thread
    std::condition_variable m_changed;
    std::deque<job> m_jobs;
    bool m_working = false;
    bool m_stop = false;
    std::thread m_thread;
};

}  // namespace cardsim

#endif
