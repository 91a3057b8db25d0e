// SPDX-License-Identifier: GPL-3.0-or-later
#include "deadline.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace system_tests {

deadline::deadline(std::chrono::seconds patience)
    : m_end(std::chrono::steady_clock::now() + patience) {}

std::chrono::seconds deadline::left() const {
    const auto rest =
        std::chrono::duration_cast<std::chrono::seconds>(m_end - std::chrono::steady_clock::now());
    return std::max(rest, std::chrono::seconds{1});
}

process_options deadline::options() const {
    process_options options;
    options.timeout = left();
    return options;
}

watchdog::watchdog(card &medium, const deadline &until)
    : m_thread([this, &medium, patience = until.left()] {
          std::unique_lock lock(m_mutex);
          if (!m_changed.wait_for(lock, patience, [this] { return m_over; })) {
              ADD_FAILURE() << "the cell took too long: the simulator was killed";
              medium.die();
          }
      }) {}

watchdog::~watchdog() {
    {
        const std::lock_guard lock(m_mutex);
        m_over = true;
    }
    m_changed.notify_one();
    m_thread.join();
}

}  // namespace system_tests
