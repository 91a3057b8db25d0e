// SPDX-License-Identifier: GPL-3.0-or-later
// The tests of the window need an application around them, one for the whole
// program. They draw into memory, unless TROVIK_TEST_DISPLAY=xvfb asks for a real X
// server, which is started here and ends with the program.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QApplication>
#include <QTemporaryDir>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

class x_server {
 public:
    // Starts an X server on a free display and uses it.
    bool start() {
        std::array<int, 2> ready{};
        if (pipe(ready.data()) != 0)
            return false;
        m_pid = fork();
        if (m_pid == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            close(ready[0]);
            const std::string number = std::to_string(ready[1]);
            std::freopen("/dev/null", "w", stderr);
            execlp("Xvfb", "Xvfb", "-displayfd", number.c_str(), "-screen", "0", "2560x1440x24",
                   "-nolisten", "tcp", static_cast<char *>(nullptr));
            _exit(127);
        }
        close(ready[1]);
        std::string display;
        char character = 0;
        while (read(ready[0], &character, 1) == 1 && character != '\n')
            display += character;
        close(ready[0]);
        if (display.empty())
            return false;
        setenv("DISPLAY", (":" + display).c_str(), 1);
        setenv("QT_QPA_PLATFORM", "xcb", 1);
        return true;
    }

    ~x_server() {
        if (m_pid > 0) {
            kill(m_pid, SIGTERM);
            waitpid(m_pid, nullptr, 0);
        }
    }

 private:
    pid_t m_pid = -1;
};

}  // namespace

int main(int argc, char *argv[]) {
    testing::InitGoogleTest(&argc, argv);
    // Listing the tests needs no display.
    const bool lists_only = testing::GTEST_FLAG(list_tests);
    x_server server;
    const char *const display = std::getenv("TROVIK_TEST_DISPLAY");
    if (!lists_only && display != nullptr && std::string(display) == "xvfb") {
        if (!server.start()) {
            std::fprintf(stderr, "Xvfb could not be started\n");
            return 1;
        }
    } else {
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
    }
    // Keep off the user's own configuration.
    const QTemporaryDir configuration;
    for (const char *name : {"XDG_CONFIG_HOME", "XDG_RUNTIME_DIR", "XDG_CACHE_HOME"})
        setenv(name, configuration.path().toUtf8().constData(), 1);
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("trovik"));
    return RUN_ALL_TESTS();
}
