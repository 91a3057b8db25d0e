// SPDX-License-Identifier: GPL-3.0-or-later
// Whether the main thread handles events.
#ifndef TROVIK_TESTS_APP_HEARTBEAT_H
#define TROVIK_TESTS_APP_HEARTBEAT_H

#include <QTimer>

namespace app_tests {

// Counts the beats of a timer of 10 ms.
class heartbeat {
 public:
    heartbeat() {
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { ++m_beats; });
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.start(10);
    }
    int beats() const { return m_beats; }

 private:
    QTimer m_timer;
    int m_beats = 0;
};

}  // namespace app_tests

#endif
