// SPDX-License-Identifier: GPL-3.0-or-later
/* Another process replaces the entry under a test file's name while the engine works: between
 * any check and the opening. */
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>

#include "model/f3write.h"
#include "support.h"

using model_tests::exists;
using model_tests::file_content;
using model_tests::new_flow;
using model_tests::private_folder;
using model_tests::run_in_child;
using model_tests::set_file_content;
using test_support::within_a_minute;

namespace {

/* A process that repeats `body` until this is destroyed. */
class busy_process {
 public:
    explicit busy_process(const std::function<void()> &body) : m_pid(fork()) {
        while (m_pid == 0)
            body();
    }
    ~busy_process() {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
    busy_process(const busy_process &) = delete;
    busy_process &operator=(const busy_process &) = delete;

 private:
    const pid_t m_pid;
};

/* Puts `other` in the name's place for a moment, then removes the entry that is left: the
 * engine may have removed either. */
bool swap_in_and_out(const std::string &name, const std::string &other) {
    for (int i = 0; i < 2; ++i)
        renameat2(AT_FDCWD, name.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE);
    return unlink(other.c_str()) == 0;
}

constexpr int rounds = 25;

/* Writes the file again and again until the engine has refused at least once: on a busy
 * machine the other process may wait long for its turn. */
void write_while_names_change(const std::string &folder) {
    int done = 0;
    int refused = 0;
    EXPECT_TRUE(within_a_minute([&] {
        const auto outcome = run_in_child([&] {
            for (int j = 0; j < 20; ++j) {
                write_flow fw = new_flow(1U << 20U);
                create_and_fill_file(folder.c_str(), 0, 1024, &fw);
            }
        });
        EXPECT_FALSE(outcome.timed_out);
        refused += outcome.exited_with(0) ? 0 : 1;
        return ++done >= rounds && refused > 0;
    })) << refused
        << " of " << done << " refused";
}

}  // namespace

TEST(f3write_race, never_writes_through_swapped_in_symlink) {
    const private_folder folder;
    const std::string name = folder.file("1.fff");
    set_file_content(folder.file("users"), "precious");
    set_file_content(name, "ours");
    const busy_process other([&] {
        const std::string link = folder.file("link");
        symlink("users", link.c_str()) == 0 && swap_in_and_out(name, link);
    });
    write_while_names_change(folder.path());
    EXPECT_EQ(file_content(folder.file("users")), "precious");
}

TEST(f3write_race, creates_nothing_behind_new_symlink) {
    const private_folder folder;
    const std::string name = folder.file("1.fff");
    const busy_process other([&] {
        unlink(name.c_str());
        symlink("nowhere", name.c_str()) == 0 && unlink(name.c_str()) == 0;
    });
    write_while_names_change(folder.path());
    EXPECT_FALSE(exists(folder.file("nowhere")));
}

TEST(f3write_race, leaves_users_file_behind_new_hard_link_unchanged) {
    const private_folder folder;
    const std::string name = folder.file("1.fff");
    set_file_content(folder.file("users"), "precious");
    const busy_process other([&] {
        unlink(name.c_str());
        link(folder.file("users").c_str(), name.c_str()) == 0 && unlink(name.c_str()) == 0;
    });
    write_while_names_change(folder.path());
    EXPECT_EQ(file_content(folder.file("users")), "precious");
}

TEST(f3write_race, does_not_block_on_swapped_in_fifo) {
    const private_folder folder;
    const std::string name = folder.file("1.fff");
    set_file_content(name, "ours");
    const busy_process other([&] {
        const std::string fifo = folder.file("fifo");
        mkfifo(fifo.c_str(), 0600) == 0 && swap_in_and_out(name, fifo);
    });
    write_while_names_change(folder.path());
}

TEST(f3write_race, removes_no_users_file_while_symlinks_come_and_go) {
    const private_folder folder;
    const std::string name = folder.file("1.fff");
    set_file_content(folder.file("users"), "precious");
    const busy_process other(
        [&] { symlink("users", name.c_str()) == 0 && unlink(name.c_str()) == 0; });
    for (int i = 0; i < rounds; ++i)
        run_in_child([&] { f3write_unlink_old_files(folder.c_path(), 0); });
    EXPECT_EQ(file_content(folder.file("users")), "precious");
}
