// What the tests of removing trees share: a volume with something precious beside it, processes
// with fewer rights or mounts of their own, and what may happen between two calls of the system.
#ifndef TROVIK_TESTS_APP_REMOVE_TREE_SUPPORT_H
#define TROVIK_TESTS_APP_REMOVE_TREE_SUPPORT_H

#include <dirent.h>
#include <sys/types.h>

#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <string>

#include "app/remove_tree.h"

namespace remove_tree_tests {

void write_file(const std::string &path, const std::string &content);
bool exists(const std::string &path);
// Kind, permissions and content.
std::string description(const std::filesystem::path &path);
// Every entry below a folder, with its kind, its permissions and its content.
std::map<std::string, std::string> everything_in(const std::string &folder);
// The names alone, as "a a/b c".
std::string names_in(const std::string &folder);
std::size_t open_descriptors();

// A volume with a trash folder, and a precious folder beside it whose names are those of the
// trash: who gets there by mistake finds what to remove.
class scene {
 public:
    scene();
    // Fails the test when the precious folder has changed or a descriptor is left open.
    ~scene();
    scene(const scene &) = delete;
    scene &operator=(const scene &) = delete;

    std::string path(const std::string &name) const { return (m_path / name).string(); }
    std::string trash(const std::string &name = "") const {
        return path("volume/.Trashes") + (name.empty() ? "" : "/") + name;
    }
    std::string precious() const { return path("precious"); }
    bool precious_is_as_it_was() const { return everything_in(precious()) == m_precious; }

 private:
    std::filesystem::path m_path;
    std::map<std::string, std::string> m_precious;
    std::size_t m_descriptors = 0;
};

// "removed", or the reason and the path.
std::string outcome_of(const remove_tree_error &error);
std::string remove_and_tell(const std::string &path);

constexpr int exit_status_skipped = 125;  // of a child that may not do what it is for

// Runs the body in a process of its own, which ends with it or after two minutes. The failures in
// it are printed there and fail the test here.
void in_child(const std::function<void()> &body);
// The same without the rights of root, which no permission stops.
void as_ordinary_user(const std::function<void()> &body);
// The same with mounts that nobody else sees, and that are gone with the process.
void in_own_mounts(const std::function<void()> &body);

// `depth` folders of one name, each in the one before, with a file in every tenth; the deepest is
// left open and returned.
int make_chain(const std::string &top, int depth, const std::string &name);

// What happens around the calls of the thread that holds it, as long as it lives.
struct call_hooks {
    call_hooks();
    ~call_hooks();
    call_hooks(const call_hooks &) = delete;
    call_hooks &operator=(const call_hooks &) = delete;

    std::function<void(const std::string &name)> before_open = [](auto &) {};
    std::function<void(const std::string &name, int flags)> before_unlink = [](auto &, int) {};
    std::function<void(const std::string &name, int flags)> after_unlink = [](auto &, int) {};
    std::function<bool(dirent &)> hides = [](auto &) { return false; };
    std::function<int()> read_error = [] { return 0; };  // errno instead of the next entry
    int common_open_flags = ~0;
};

// The heap as this thread uses it.
struct heap_account {
    long long bytes_in_use = 0;
    long long most_bytes = 0;
    long allocations_left = -1;  // at 0, memory is said to be out; -1: any number
};
heap_account &heap_of_this_thread();

}  // namespace remove_tree_tests

#endif
