// Somebody who acts while the program is in the middle of something.
#ifndef TROVIK_TESTS_APP_FASTER_HAND_H
#define TROVIK_TESTS_APP_FASTER_HAND_H

#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace app_tests {

// Acts while the program is saying whether a marker is there: the program's words go
// into a pipe that has no room for the last of them.
class faster_hand {
 public:
    // `words` are what the program says before.
    faster_hand(const std::string &words, std::function<void()> act);
    ~faster_hand();
    faster_hand(const faster_hand &) = delete;
    faster_hand &operator=(const faster_hand &) = delete;

    // Everything that the program has said meanwhile.
    std::vector<std::string> said();

 private:
    bool program_waits() const;
    void act_meanwhile(const std::function<void()> &act);

    const pid_t m_program = gettid();
    std::array<int, 2> m_pipe{};
    int m_real = -1;
    std::string m_filling, m_said;
    std::thread m_other;
};

}  // namespace app_tests

#endif
