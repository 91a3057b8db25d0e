/* What stands under a test file's name changes while the engine works: between any look
 * at the name and the opening of it. */
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

/* Another process that does something over and over again, until this goes. */
class busy_hand {
 public:
    explicit busy_hand(const std::function<void()> &body) : m_pid(fork()) {
        while (m_pid == 0)
            body();
    }
    ~busy_hand() {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
    busy_hand(const busy_hand &) = delete;
    busy_hand &operator=(const busy_hand &) = delete;

 private:
    const pid_t m_pid;
};

/* Puts `other` in the name's place for a moment. Whichever of the two is left over in the
 * end goes: a phase may have removed either, under the name. */
bool swap_in_and_out(const std::string &name, const std::string &other) {
    for (int i = 0; i < 2; ++i)
        renameat2(AT_FDCWD, name.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE);
    return unlink(other.c_str()) == 0;
}

constexpr int rounds = 25;

/* Writes the file again and again, also when it is refused. At least once it is: a busy
 * machine may leave the other process without a turn for long. */
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

TEST(f3write_race, a_link_swapped_in_for_a_test_file_is_never_written_through) {
    const private_folder folder;
    const std::string name = folder.file("1.fff");
    set_file_content(folder.file("users"), "precious");
    set_file_content(name, "ours");
    const busy_hand hand([&] {
        const std::string link = folder.file("link");
        symlink("users", link.c_str()) == 0 && swap_in_and_out(name, link);
    });
    write_while_names_change(folder.path());
    EXPECT_EQ(file_content(folder.file("users")), "precious");
}

TEST(f3write_race, a_link_swapped_in_for_nothing_creates_nothing_elsewhere) {
    const private_folder folder;
    const std::string name = folder.file("1.fff");
    const busy_hand hand([&] {
        unlink(name.c_str());
        symlink("nowhere", name.c_str()) == 0 && unlink(name.c_str()) == 0;
    });
    write_while_names_change(folder.path());
    EXPECT_FALSE(exists(folder.file("nowhere")));
}

TEST(f3write_race, a_users_file_linked_to_the_name_is_neither_emptied_nor_written) {
    const private_folder folder;
    const std::string name = folder.file("1.fff");
    set_file_content(folder.file("users"), "precious");
    const busy_hand hand([&] {
        unlink(name.c_str());
        link(folder.file("users").c_str(), name.c_str()) == 0 && unlink(name.c_str()) == 0;
    });
    write_while_names_change(folder.path());
    EXPECT_EQ(file_content(folder.file("users")), "precious");
}

TEST(f3write_race, a_fifo_or_a_device_swapped_in_is_not_waited_for) {
    const private_folder folder;
    const std::string name = folder.file("1.fff");
    set_file_content(name, "ours");
    const busy_hand hand([&] {
        const std::string fifo = folder.file("fifo");
        mkfifo(fifo.c_str(), 0600) == 0 && swap_in_and_out(name, fifo);
    });
    write_while_names_change(folder.path());
}

TEST(f3write_race, removing_while_links_come_and_go_removes_no_users_file) {
    const private_folder folder;
    const std::string name = folder.file("1.fff");
    set_file_content(folder.file("users"), "precious");
    const busy_hand hand([&] { symlink("users", name.c_str()) == 0 && unlink(name.c_str()) == 0; });
    for (int i = 0; i < rounds; ++i)
        run_in_child([&] { f3write_unlink_old_files(folder.c_path(), 0); });
    EXPECT_EQ(file_content(folder.file("users")), "precious");
}
