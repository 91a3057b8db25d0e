// Three calls of the system and the heap come through here, for all of the program: other processes
// that act between two steps, faulty volumes and missing memory are played in these places.
#include "remove_tree_support.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <new>
#include <sstream>
#include <utility>

namespace fs = std::filesystem;

namespace {

using remove_tree_tests::call_hooks;

constexpr uid_t ordinary_user = 65534;

thread_local call_hooks *hooks = nullptr;
thread_local remove_tree_tests::heap_account heap;

// Runs a hook, whose own calls are not intercepted.
template <typename... values>
void call_hook(const std::function<void(values...)> &hook, values... arguments) {
    call_hooks *const held = std::exchange(hooks, nullptr);
    hook(arguments...);
    hooks = held;
}

void make_removable(const fs::path &folder) {
    std::error_code error;
    fs::permissions(folder, fs::perms::owner_all, fs::perm_options::add, error);
    for (const auto &entry : fs::directory_iterator(folder, error))
        if (entry.symlink_status(error).type() == fs::file_type::directory)
            make_removable(entry.path());
}

}  // namespace

// NOLINTNEXTLINE(cert-dcl50-cpp): the system's call has this form.
extern "C" int openat(int folder, const char *name, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    // The folder above the tree is held to name the tree in, and is not a part of it.
    if (hooks != nullptr && (flags & O_PATH) == 0) {
        hooks->common_open_flags &= flags;
        call_hook<const std::string &>(hooks->before_open, name);
    }
    return static_cast<int>(syscall(SYS_openat, folder, name, flags, mode));
}

extern "C" int unlinkat(int folder, const char *name, int flags) noexcept {
    if (hooks != nullptr)
        call_hook<const std::string &, int>(hooks->before_unlink, name, flags);
    const int result = static_cast<int>(syscall(SYS_unlinkat, folder, name, flags));
    const int error_number = errno;
    if (hooks != nullptr)
        call_hook<const std::string &, int>(hooks->after_unlink, name, flags);
    errno = error_number;
    return result;
}

extern "C" dirent *readdir(DIR *folder) {
    static const auto system_readdir =
        reinterpret_cast<dirent *(*)(DIR *)>(dlsym(RTLD_NEXT, "readdir64"));
    const int error_number = hooks != nullptr ? hooks->read_error() : 0;
    if (error_number != 0) {
        errno = error_number;
        return nullptr;
    }
    dirent *entry = nullptr;
    do {
        entry = system_readdir(folder);
    } while (entry != nullptr && hooks != nullptr && hooks->hides(*entry));
    return entry;
}

void *operator new(std::size_t size) {
    void *const start = heap.allocations_left == 0 ? nullptr : std::malloc(size);
    if (start == nullptr)
        throw std::bad_alloc();
    heap.allocations_left -= heap.allocations_left > 0 ? 1 : 0;
    heap.bytes_in_use += static_cast<long long>(malloc_usable_size(start));
    heap.most_bytes = std::max(heap.most_bytes, heap.bytes_in_use);
    return start;
}

void operator delete(void *start) noexcept {
    if (start != nullptr)
        heap.bytes_in_use -= static_cast<long long>(malloc_usable_size(start));
    std::free(start);
}

void operator delete(void *start, std::size_t) noexcept {
    operator delete(start);
}

namespace remove_tree_tests {

call_hooks::call_hooks() {
    hooks = this;
}

call_hooks::~call_hooks() {
    hooks = nullptr;
}

heap_account &heap_of_this_thread() {
    return heap;
}

scene::scene() {
    std::string pattern = "/tmp/trovik-removal-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr || chmod(pattern.c_str(), 0777) != 0)
        std::abort();  // nothing may be removed in a folder that is not ours
    m_path = pattern;
    for (const char *place : {"precious", "volume/.Trashes"})
        for (const char *name : {"file", "sub/file", "sub/sub/file"})
            write_file(path(place) + "/" + name, place);
    for (const auto &entry : fs::recursive_directory_iterator(m_path))
        fs::permissions(entry, fs::perms::all);
    m_precious = everything_in(precious());
    m_descriptors = open_descriptors();
}

scene::~scene() {
    EXPECT_TRUE(precious_is_as_it_was());
    EXPECT_EQ(open_descriptors(), m_descriptors);
    make_removable(m_path);
    std::error_code error;
    fs::remove_all(m_path, error);
    EXPECT_FALSE(error) << m_path << ": " << error.message();
}

void write_file(const std::string &path, const std::string &content) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream stream(path, std::ios::binary);
    stream << content;
    stream.close();
    EXPECT_TRUE(stream) << path;
}

bool exists(const std::string &path) {
    return faccessat(AT_FDCWD, path.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
}

std::string description(const fs::path &path) {
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0)
        return std::strerror(errno);
    std::ostringstream text;
    text << std::oct << status.st_mode << ' ';
    if (S_ISLNK(status.st_mode))
        text << fs::read_symlink(path);
    if (S_ISREG(status.st_mode))
        text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

std::map<std::string, std::string> everything_in(const std::string &folder) {
    std::map<std::string, std::string> all;
    std::error_code error;
    for (fs::recursive_directory_iterator at(folder, error), end; !error && at != end;
         at.increment(error))
        all[at->path().lexically_relative(folder)] = description(at->path());
    EXPECT_FALSE(error) << folder << ": " << error.message();
    return all;
}

std::string names_in(const std::string &folder) {
    std::string names;
    for (const auto &[name, what] : everything_in(folder))
        names += (names.empty() ? "" : " ") + name;
    return names;
}

std::size_t open_descriptors() {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()));
}

std::string outcome_of(const remove_tree_error &error) {
    if (error.error_number == 0)
        return "removed" + error.path;
    return std::string(strerrorname_np(error.error_number)) + " " + error.path;
}

std::string remove_and_tell(const std::string &path) {
    return outcome_of(remove_tree(path));
}

void in_child(const std::function<void()> &body) {
    std::fflush(nullptr);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        alarm(120);
        body();
        std::fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    if (WIFEXITED(status) && WEXITSTATUS(status) == exit_status_skipped)
        GTEST_SKIP() << "this process may not mount, or not filter calls (root may)";
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "wait status " << status;
}

void as_ordinary_user(const std::function<void()> &body) {
    in_child([&] {
        ASSERT_TRUE(geteuid() != 0 || (setgroups(0, nullptr) == 0 && setgid(ordinary_user) == 0 &&
                                       setuid(ordinary_user) == 0));
        body();
    });
}

void in_own_mounts(const std::function<void()> &body) {
    in_child([&] {
        if (unshare(CLONE_NEWNS) != 0 ||
            mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
            _exit(exit_status_skipped);
        body();
    });
}

int make_chain(const std::string &top, int depth, const std::string &name) {
    fs::create_directories(top);
    int folder = open(top.c_str(), O_RDONLY | O_DIRECTORY);
    for (int level = 1; folder >= 0 && level <= depth; ++level) {
        if (level % 10 == 0 && mknodat(folder, "file", S_IFREG | 0600, 0) != 0)
            ADD_FAILURE() << std::strerror(errno);
        mkdirat(folder, name.c_str(), 0700);
        const int next = openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY);
        close(folder);
        folder = next;
    }
    EXPECT_GE(folder, 0) << std::strerror(errno);
    return folder;
}

}  // namespace remove_tree_tests
