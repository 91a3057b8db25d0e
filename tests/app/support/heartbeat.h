// Whether the main thread keeps coming back to the window.
#ifndef TROVIK_TESTS_APP_HEARTBEAT_H
#define TROVIK_TESTS_APP_HEARTBEAT_H

#include <QElapsedTimer>
#include <QTimer>
#include <algorithm>

namespace app_tests {

// Beats every 10 ms and knows the longest time between two beats.
class heartbeat {
 public:
    heartbeat() {
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] {
            m_longest = std::max(m_longest, m_since_last.restart());
            ++m_beats;
        });
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.start(10);
        m_since_last.start();
    }
    void stop() { m_timer.stop(); }
    qint64 longest_ms() const { return m_longest; }
    int beats() const { return m_beats; }

 private:
    QTimer m_timer;
    QElapsedTimer m_since_last;
    qint64 m_longest = 0;
    int m_beats = 0;
};

}  // namespace app_tests

#endif
