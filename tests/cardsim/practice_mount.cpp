/* The guard around mounted tests. */
#include "practice_mount.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

namespace {

std::string contents_of(const std::string &path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

/* Runs a program found on the PATH; files receive its output (empty: discarded). */
int run_program(const std::vector<std::string> &words, const std::string &output,
                const std::string &errors) {
    std::vector<char *> arguments;
    arguments.reserve(words.size() + 1);
    for (const std::string &word : words) {
        arguments.push_back(const_cast<char *>(word.c_str()));  // posix_spawn changes none
    }
    arguments.push_back(nullptr);
    const auto target = [](const std::string &path) {
        return path.empty() ? "/dev/null" : path.c_str();
    };
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, target(output),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, target(errors),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    pid_t child = 0;
    const int problem =
        posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (problem != 0) {
        return -1;
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

program_result run_cardsim(const std::vector<std::string> &words) {
    std::string pattern = testing::TempDir() + "cardsim-output-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        return {};
    }
    std::vector<std::string> all = {TROVIK_CARDSIM};
    all.insert(all.end(), words.begin(), words.end());
    program_result result;
    result.status = run_program(all, pattern + "/output", pattern + "/errors");
    result.output = contents_of(pattern + "/output");
    result.errors = contents_of(pattern + "/errors");
    unlink((pattern + "/output").c_str());
    unlink((pattern + "/errors").c_str());
    rmdir(pattern.c_str());
    return result;
}

void practice_mount::SetUp() {
    const int device = open("/dev/fuse", O_RDWR | O_CLOEXEC);
    if (device < 0) {
        GTEST_SKIP() << "needs FUSE: /dev/fuse: " << std::strerror(errno);
    }
    close(device);
    if (run_program({"fusermount3", "--version"}, "", "") != 0) {
        GTEST_SKIP() << "needs the program fusermount3";
    }
    std::string pattern = testing::TempDir() + "cardsim-mount-XXXXXX";
    ASSERT_NE(mkdtemp(pattern.data()), nullptr) << std::strerror(errno);
    m_folder = pattern;
    m_mount = m_folder + "/card";
    ASSERT_EQ(mkdir(m_mount.c_str(), 0755), 0) << std::strerror(errno);
}

void practice_mount::TearDown() {
    if (m_folder.empty()) {
        return;
    }
    if (!unmount()) {
        run_program({"fusermount3", "-u", "-z", m_mount}, "", "");
    }
    EXPECT_EQ(rmdir(m_mount.c_str()), 0) << "still mounted: " << m_mount;
    unlink(beside("backing").c_str());
    rmdir(m_folder.c_str());
}

void practice_mount::mount_card(std::vector<std::string> options) {
    options.insert(options.begin(), m_mount);
    const program_result result = run_cardsim(options);
    ASSERT_EQ(result.status, 0) << result.errors;
    ASSERT_EQ(result.errors, "");
    ASSERT_TRUE(is_mounted());
}

bool practice_mount::is_mounted() const {
    // Asked of the mount table, for a card that is gone does not answer itself.
    return contents_of("/proc/self/mounts").find(" " + m_mount + " ") != std::string::npos;
}

bool practice_mount::unmount() const {
    return !is_mounted() || run_program({"fusermount3", "-u", m_mount}, "", "") == 0;
}

open_file::open_file(const std::string &path, int flags)
    : m_fd(open(path.c_str(), flags | O_CLOEXEC, 0644)) {
    EXPECT_GE(m_fd, 0) << path << ": " << std::strerror(errno);
}

open_file::~open_file() {
    if (m_fd >= 0) {
        close(m_fd);
    }
}

int write_in_small_pieces(int fd, const std::vector<std::byte> &bytes, size_t *written) {
    *written = 0;
    while (*written < bytes.size()) {
        const size_t length = std::min<size_t>(1024, bytes.size() - *written);
        const ssize_t put = write(fd, bytes.data() + *written, length);
        if (put < 0) {
            return errno;
        }
        *written += static_cast<size_t>(put);
    }
    return 0;
}

int read_to_end(const std::string &path, std::vector<std::byte> *bytes) {
    const open_file file(path, O_RDONLY);
    bytes->clear();
    std::array<std::byte, 65536> piece{};
    for (;;) {
        const ssize_t got = read(file.fd(), piece.data(), piece.size());
        if (got <= 0) {
            return got < 0 ? errno : 0;
        }
        bytes->insert(bytes->end(), piece.begin(), piece.begin() + got);
    }
}
