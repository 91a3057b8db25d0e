// SPDX-License-Identifier: GPL-3.0-or-later
// The places that make a volume the system's own.
#include "volume/file_system_keys.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <optional>

#include "support.h"

namespace {

using volume_tests::private_mounts;

// Sets a variable of the environment for one test.
class variable {
 public:
    variable(const char *name, const std::string &value) : m_name(name) {
        const char *old = std::getenv(name);
        if (old != nullptr)
            m_old = old;
        setenv(name, value.c_str(), 1);
    }
    variable(const variable &) = delete;
    variable &operator=(const variable &) = delete;
    ~variable() {
        if (m_old.has_value())
            setenv(m_name, m_old->c_str(), 1);
        else
            unsetenv(m_name);
    }

 private:
    const char *m_name;
    std::optional<std::string> m_old;
};

std::vector<volume_system_use> uses_of(const std::string &path) {
    std::vector<volume_system_use> uses;
    std::string error;
    EXPECT_TRUE(volume_find_system_uses(path, uses, error)) << error;
    return uses;
}

bool has(const std::vector<volume_system_use> &uses, volume_system_role role,
         const std::string &place) {
    return std::any_of(uses.begin(), uses.end(), [&](const volume_system_use &use) {
        return use.role == role && use.place == place;
    });
}

std::string own_program() {
    return std::filesystem::read_symlink("/proc/self/exe").string();
}

constexpr auto ROOT = volume_system_role::root;
constexpr auto HOME = volume_system_role::home;
constexpr auto PROGRAM = volume_system_role::program;

}  // namespace

TEST(system_places, lists_root_homes_program) {
    const variable home("HOME", "/somewhere/else");
    const std::vector<volume_system_use> places = system_places_list();
    EXPECT_TRUE(has(places, ROOT, "/"));
    EXPECT_TRUE(has(places, HOME, "/somewhere/else"));
    const passwd *account = getpwuid(getuid());
    ASSERT_NE(account, nullptr);
    EXPECT_TRUE(has(places, HOME, account->pw_dir));
    EXPECT_TRUE(has(places, PROGRAM, own_program()));
}

TEST(system_places, lists_absolute_homes_once) {
    const passwd *account = getpwuid(getuid());
    ASSERT_NE(account, nullptr);
    const std::string own = account->pw_dir;
    for (const std::string &home : {own, std::string("relative/home"), std::string()}) {
        const variable set("HOME", home);
        const std::vector<volume_system_use> places = system_places_list();
        EXPECT_EQ(std::count_if(places.begin(), places.end(),
                                [](const volume_system_use &use) { return use.role == HOME; }),
                  1)
            << home;
    }
}

TEST(system_places, lists_home_behind_sudo_or_pkexec) {
    const passwd *account = getpwnam("daemon");
    if (account == nullptr)
        GTEST_SKIP() << "there is no account named daemon";
    const std::string home = account->pw_dir;
    const std::string number = std::to_string(account->pw_uid);
    EXPECT_FALSE(has(system_places_list(), HOME, home));
    {
        const variable user("SUDO_USER", "daemon");
        EXPECT_TRUE(has(system_places_list(), HOME, home));
    }
    {
        const variable user("PKEXEC_UID", number);
        EXPECT_TRUE(has(system_places_list(), HOME, home));
    }
    const variable nobody("SUDO_USER", "no such account");
    const variable nonsense("PKEXEC_UID", number + "x");
    EXPECT_FALSE(has(system_places_list(), HOME, home));
}

TEST(system_places, protects_file_system_of_root) {
    EXPECT_TRUE(has(uses_of("/"), ROOT, "/"));
    EXPECT_TRUE(has(uses_of("/etc"), ROOT, "/"));
    EXPECT_TRUE(has(uses_of(own_program()), PROGRAM, own_program()));
}

TEST(system_places, protects_bind_mount_of_system_folder) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const std::string view = mounts.folder().make_folder("view");
    ASSERT_TRUE(mounts.mount_bind("/etc", view));
    EXPECT_TRUE(has(uses_of(view), ROOT, "/"));
}

TEST(system_places, protects_volume_once_home_is_on_it) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const std::string card = mounts.folder().make_folder("card");
    ASSERT_TRUE(mounts.mount_tmpfs(card));
    EXPECT_TRUE(uses_of(card).empty());
    const std::string home = mounts.folder().make_folder("card/ann");
    {
        const variable set("HOME", home);
        const std::vector<volume_system_use> uses = uses_of(card);
        EXPECT_EQ(uses.size(), 1U);
        EXPECT_TRUE(has(uses, HOME, home));
    }
    {
        const variable linked("HOME", mounts.folder().make_link("linked", home));
        EXPECT_EQ(uses_of(card).size(), 1U);
    }
    const variable gone("HOME", home + "/gone");
    EXPECT_TRUE(uses_of(card).empty());
}

TEST(system_places, protects_volume_of_running_program) {
    // Runs in the copy of this program that the test starts below.
    if (const char *volume = std::getenv("TROVIK_TEST_PROGRAM_VOLUME")) {
        const std::vector<volume_system_use> uses = uses_of(volume);
        EXPECT_EQ(uses.size(), 1U);
        EXPECT_TRUE(has(uses, PROGRAM, std::string(volume) + "/program"));
        EXPECT_EQ(std::remove((std::string(volume) + "/program").c_str()), 0);
        EXPECT_EQ(uses_of(volume).size(), 1U) << "a program that was deleted still runs from there";
        return;
    }
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const std::string card = mounts.folder().make_folder("card");
    ASSERT_TRUE(mounts.mount_tmpfs(card, "size=200m"));
    std::filesystem::copy_file(own_program(), card + "/program");
    const variable told("TROVIK_TEST_PROGRAM_VOLUME", card);
    EXPECT_EQ(
        volume_tests::run_program(
            {card + "/program", "--gtest_filter=system_places.protects_volume_of_running_program"}),
        0);
    EXPECT_FALSE(std::filesystem::exists(card + "/program")) << "the copy did not run this test";
}

TEST(system_places, fails_for_missing_path) {
    std::vector<volume_system_use> uses;
    std::string error;
    EXPECT_FALSE(volume_find_system_uses("/nowhere", uses, error));
    EXPECT_EQ(error, "/nowhere: cannot be looked at: No such file or directory");
}

TEST(system_places, words_each_use) {
    EXPECT_EQ(volume_system_use_text({ROOT, "/"}), "the system's root /");
    EXPECT_EQ(volume_system_use_text({HOME, "/home/a\nb"}), "the home folder /home/a\nb");
    EXPECT_EQ(volume_system_use_text({PROGRAM, "/bin/x"}), "the running program /bin/x");
}
