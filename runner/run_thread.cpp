// SPDX-License-Identifier: GPL-3.0-or-later
#include "runner/run_thread.h"

#include <system_error>
#include <utility>

run_thread::run_thread(std::function<void()> entry) : m_entry(std::move(entry)) {}

run_thread::~run_thread() {
    if (!m_thread.joinable())
        return;
    if (is_executing())
        m_thread.detach();
    else
        m_thread.join();
}

bool run_thread::start() {
    m_executing->store(true, std::memory_order_relaxed);
    try {
        m_thread = std::thread([entry = std::move(m_entry), executing = m_executing] {
            entry();
            executing->store(false, std::memory_order_release);
        });
    } catch (const std::system_error &) {
        m_executing->store(false, std::memory_order_relaxed);
        return false;
    }
    return true;
}
