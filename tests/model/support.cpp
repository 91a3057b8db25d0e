/* See support.h. Children are forked and not started anew: a test's folders and
 * volumes are then the child's too, and are cleaned up once, by the parent.
 * Nothing here uses the engine to judge the engine, except to learn how it
 * words a broken invariant around the three facts that it must name. */
#include "support.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <thread>

#include "model/engine_log.h"
#include "model/fatal.h"

namespace model_tests {

namespace {

constexpr std::chrono::seconds child_deadline{20};

void redirect(int descriptor, const std::string &path) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0 || dup2(fd, descriptor) < 0)
        _exit(99);
}

bool ended_within_deadline(pid_t child, int *wait_status) {
    const auto deadline = std::chrono::steady_clock::now() + child_deadline;
    while (waitpid(child, wait_status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            kill(child, SIGKILL);
            waitpid(child, wait_status, 0);
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

void replace(std::string &text, const std::string &what, const std::string &with) {
    const size_t at = text.find(what);
    ASSERT_NE(at, std::string::npos) << "'" << what << "' is missing in: " << text;
    text.replace(at, what.size(), with);
}

}  // namespace

bool child_outcome::exited_with(int status) const {
    return !timed_out && WIFEXITED(wait_status) && WEXITSTATUS(wait_status) == status;
}

bool child_outcome::aborted() const {
    return !timed_out && WIFSIGNALED(wait_status) && WTERMSIG(wait_status) == SIGABRT;
}

child_outcome run_in_child(const std::function<void()> &body) {
    const private_folder folder;
    const std::string out_path = folder.file("out");
    const std::string err_path = folder.file("err");
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        redirect(STDOUT_FILENO, out_path);
        redirect(STDERR_FILENO, err_path);
        body();
        fflush(nullptr);
        _exit(0);
    }
    child_outcome outcome;
    EXPECT_GT(child, 0) << strerror(errno);
    outcome.timed_out = child < 0 || !ended_within_deadline(child, &outcome.wait_status);
    outcome.out = file_content(out_path);
    outcome.err = file_content(err_path);
    return outcome;
}

std::string own_program_name() {
    return std::filesystem::read_symlink("/proc/self/exe").filename().string();
}

std::string assertion_line(const std::string &condition, const std::string &function,
                           const std::string &module) {
    static const std::string form =
        run_in_child([] { engine_assertion_failed("@condition@", "@function@", "@module@"); }).err;
    std::string line = form;
    replace(line, "@condition@", condition);
    replace(line, "@function@", function);
    replace(line, "@module@", module);
    return line;
}

std::string refusal_line(const std::string &message, int error) {
    return own_program_name() + ": " + message + ": " + strerror(error) + "\n";
}

void expect_assertion(const child_outcome &outcome, const std::string &condition,
                      const std::string &function, const std::string &module) {
    EXPECT_TRUE(outcome.aborted()) << "wait status " << outcome.wait_status;
    const std::string line = assertion_line(condition, function, module);
    EXPECT_TRUE(outcome.err.ends_with(line)) << "not at the end: " << line << outcome.err;
}

void expect_refusal(const child_outcome &outcome, const std::string &message, int error) {
    EXPECT_TRUE(outcome.exited_with(error)) << "wait status " << outcome.wait_status;
    EXPECT_EQ(outcome.err, refusal_line(message, error));
}

private_folder::private_folder() {
    std::string name = (std::filesystem::temp_directory_path() / "trovik-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        perror(name.c_str());
        abort();
    }
    m_path = name;
}

private_folder::~private_folder() {
    std::error_code error;
    std::filesystem::remove_all(m_path, error);
}

std::string enter_private_mounts() {
    static const std::string reason = [] {
        if (unshare(CLONE_NEWNS) != 0 ||
            mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
            return std::string("needs the right to mount: ") + strerror(errno);
        return std::string();
    }();
    return reason;
}

private_volume::private_volume(const std::string &options) : m_reason(enter_private_mounts()) {
    if (m_reason.empty() && mount("tmpfs", m_folder.c_path(), "tmpfs", 0, options.c_str()) != 0)
        m_reason = std::string("needs tmpfs mounts: ") + strerror(errno);
}

private_volume::~private_volume() {
    if (mounted() && umount2(m_folder.c_path(), MNT_DETACH) != 0)
        ADD_FAILURE() << "umount " << m_folder.path() << ": " << strerror(errno);
}

std::string drained_log() {
    const engine_log_view view = engine_log_take_view();
    return {view.text, view.length};
}

std::string file_content(const std::string &path) {
    std::ifstream stream(path, std::ios::binary);
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

void set_file_content(const std::string &path, const std::string &content) {
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream << content;
    stream.close();
    ASSERT_TRUE(stream) << path;
}

bool exists(const std::string &path) {
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0;
}

uint64_t file_size(const std::string &path) {
    return std::filesystem::file_size(path);
}

uint64_t word_at(const std::string &bytes, size_t at) {
    uint64_t word = 0;
    memcpy(&word, bytes.data() + at, sizeof word);
    return word;
}

void set_word_at(std::string &bytes, size_t at, uint64_t value) {
    memcpy(bytes.data() + at, &value, sizeof value);
}

std::string reference_sectors(uint64_t offset, size_t size) {
    constexpr size_t sector = 512;
    std::string bytes(size, '\0');
    for (size_t start = 0; start < size; start += sector) {
        set_word_at(bytes, start, offset + start);
        srand48(static_cast<long>((offset + start) & 0xFFFFFFFF));
        for (size_t at = sizeof(uint64_t); at < sector; at += sizeof(uint64_t))
            set_word_at(bytes, start + at, static_cast<uint64_t>(lrand48()));
    }
    return bytes;
}

void mount_file_with_an_error_behind(const std::string &path, size_t good_bytes) {
    /* Not by mmap(): the thread sanitizer's own refuses this address. */
    const bool mapped =
        good_bytes == 0 || syscall(SYS_mmap, 0L, good_bytes, PROT_READ | PROT_WRITE,
                                   MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1L, 0L) == 0;
    const int memory = open("/proc/self/mem", O_RDWR | O_CLOEXEC);
    const std::string sectors = reference_sectors(0, good_bytes);
    if (!mapped || memory < 0 ||
        pwrite(memory, sectors.data(), good_bytes, 0) != static_cast<ssize_t>(good_bytes) ||
        mount("/proc/self/mem", path.c_str(), nullptr, MS_BIND, nullptr) != 0)
        _exit(125);
    close(memory);
}

write_flow new_flow(uint64_t space_total) {
    write_flow fw = {};
    fw.space_total = space_total;
    fw.show_progress = 1;
    fw.block_size = 1024;
    fw.bpd_step = 1;
    fw.bpd = 1;
    fw.period_ms = 1000;
    fw.state = INC;
    return fw;
}

engine_write_results write_results() {
    engine_write_results results = {};
    engine_results_write(&results);
    return results;
}

engine_read_results read_results() {
    engine_read_results results = {};
    engine_results_read(&results);
    return results;
}

uint32_t random_seed() {
    const char *fixed = getenv("TROVIK_TEST_SEED");
    return fixed != nullptr ? static_cast<uint32_t>(strtoul(fixed, nullptr, 10))
                            : static_cast<uint32_t>(std::random_device{}());
}

}  // namespace model_tests
