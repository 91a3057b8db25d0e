// What is refused before anything is changed, what --force changes about it, and
// what is let through. Mounts are real ones.
#include "cli/guard.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <filesystem>

#include "support.h"

using cli_tests::contains;
using cli_tests::private_bind;
using cli_tests::private_folder;
using cli_tests::private_volume;
using cli_tests::set_file_content;

namespace {

const char force_is_no_help[] = "--force does not change this";

cli_arguments command_on(cli_command command, const std::string &volume) {
    cli_arguments arguments;
    arguments.command = command;
    arguments.volume = volume;
    return arguments;
}

cli_arguments test_on(const std::string &volume, bool force = false) {
    cli_arguments arguments = command_on(cli_command::test, volume);
    arguments.force = force;
    return arguments;
}

// The reason to refuse; the test fails when there is none or it is not one line.
std::string refusal_of(const cli_arguments &arguments) {
    run_target target;
    std::string refusal;
    run_lock lock;
    EXPECT_FALSE(guard_check(arguments, target, refusal) &&
                 guard_begin(arguments, target, lock, refusal))
        << arguments.volume;
    EXPECT_NE(refusal, "");
    EXPECT_EQ(cli_tests::line_count(refusal), 0U) << refusal;
    return refusal;
}

// The target of a run that may begin, its files not yet looked for; the test fails
// when it is refused.
run_target passed(const cli_arguments &arguments) {
    run_target target;
    std::string refusal;
    EXPECT_TRUE(guard_check(arguments, target, refusal)) << refusal;
    EXPECT_EQ(refusal, "");
    return target;
}

// The same with its files.
run_target begun(const cli_arguments &arguments) {
    run_target target = passed(arguments);
    run_lock lock;
    std::string refusal;
    EXPECT_TRUE(guard_begin(arguments, target, lock, refusal)) << refusal;
    return target;
}

}  // namespace

TEST(guard, a_path_that_does_not_exist_is_refused_also_with_force) {
    const private_folder folder;
    for (const bool force : {false, true})
        EXPECT_EQ(
            refusal_of(test_on(folder.file("nowhere"), force)),
            "'" + folder.file("nowhere") + "': No such file or directory; " + force_is_no_help);
}

TEST(guard, a_file_is_refused_also_with_force) {
    const private_folder folder;
    set_file_content(folder.file("photo"), "x");
    for (const bool force : {false, true})
        EXPECT_EQ(refusal_of(test_on(folder.file("photo"), force)),
                  "'" + folder.file("photo") + "': not a folder; " + force_is_no_help);
}

TEST(guard, a_name_with_control_characters_is_shown_escaped) {
    const private_folder folder;
    const std::string refusal = refusal_of(test_on(folder.file("\x1b[31m\nred")));
    EXPECT_TRUE(contains(refusal, "\\x1B[31m\\x0Ared")) << refusal;
    EXPECT_FALSE(contains(refusal, "\x1b"));
}

TEST(guard, a_folder_inside_a_volume_is_refused_and_force_overrides_it) {
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    const std::string inside = volume.file("inside");
    std::filesystem::create_directory(inside);
    for (const cli_command command : {cli_command::test, cli_command::write, cli_command::clean}) {
        const std::string refusal = refusal_of(command_on(command, inside));
        EXPECT_TRUE(contains(refusal, "'" + inside + "' is not the root of a mounted volume"))
            << refusal;
        EXPECT_TRUE(contains(refusal, "'" + volume.path() + "'; --force")) << refusal;
    }
    const run_target target = passed(test_on(inside, true));
    EXPECT_EQ(target.folder, inside);
    EXPECT_EQ(target.volume.root, volume.path());
}

TEST(guard, the_root_s_file_system_is_refused_and_force_overrides_it) {
    const private_folder folder;
    const private_bind bind(folder.path());
    SKIP_WITHOUT(bind);
    struct stat root = {};
    struct stat bound = {};
    ASSERT_EQ(stat("/", &root) | stat(bind.path().c_str(), &bound), 0);
    if (root.st_dev != bound.st_dev)
        GTEST_SKIP() << "/tmp is a file system of its own here";
    const std::string refusal = refusal_of(test_on(bind.path()));
    EXPECT_TRUE(contains(refusal, "the system's root /")) << refusal;
    EXPECT_TRUE(contains(refusal, "; --force fills it all the same")) << refusal;
    EXPECT_EQ(passed(test_on(bind.path(), true)).folder, bind.path());
}

TEST(guard, the_root_itself_is_refused) {
    const std::string refusal = refusal_of(test_on("/"));
    EXPECT_TRUE(contains(refusal, "the system's root /")) << refusal;
}

TEST(guard, the_user_s_home_is_refused_and_force_overrides_it) {
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    const cli_tests::private_variable home("HOME", volume.path());
    const std::string refusal = refusal_of(test_on(volume.path()));
    EXPECT_TRUE(contains(refusal, "the home folder " + volume.path())) << refusal;
    EXPECT_TRUE(contains(refusal, "; --force")) << refusal;
    passed(test_on(volume.path(), true));
}

TEST(guard, the_volume_of_the_running_program_is_refused_before_anything_is_changed) {
    const private_volume volume("size=64m");
    SKIP_WITHOUT(volume);
    const std::string program = volume.file("trovik-cli");
    std::filesystem::copy_file(TROVIK_CLI, program);
    set_file_content(volume.file("1.fff"), "old");
    const cli_tests::outcome result = cli_tests::run_program({program, "test", volume.path()});
    EXPECT_EQ(result.exit_status, 77);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(cli_tests::line_count(result.err), 1U) << result.err;
    EXPECT_TRUE(contains(result.err, "the running program " + program)) << result.err;
    EXPECT_EQ(cli_tests::file_content(volume.file("1.fff")), "old");
}

TEST(guard, a_read_only_volume_is_refused_also_with_force) {
    private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    ASSERT_TRUE(volume.set_read_only(true));
    for (const bool force : {false, true})
        EXPECT_EQ(refusal_of(test_on(volume.path(), force)),
                  "'" + volume.path() + "' is read-only; " + force_is_no_help);
    passed(command_on(cli_command::read, volume.path()));
}

TEST(guard, entries_that_only_look_like_test_files_are_named_also_with_force) {
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    set_file_content(volume.file("1.fff"), "old");
    set_file_content(volume.file("01.fff"), "x");
    std::filesystem::create_directory(volume.file("2.fff"));
    for (const bool force : {false, true})
        EXPECT_EQ(refusal_of(test_on(volume.path(), force)),
                  "'" + volume.path() +
                      "' holds entries with a test file's name that are not ours: "
                      "'01.fff' (another name for 1.fff), '2.fff' (a folder); "
                      "move or rename them, --force does not change this");
    EXPECT_EQ(cli_tests::file_content(volume.file("1.fff")), "old");
}

TEST(guard, five_foreign_entries_are_named_and_more_are_counted) {
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    for (int number = 1; number <= 5; ++number)
        std::filesystem::create_directory(volume.file(std::to_string(number) + ".fff"));
    std::string refusal = refusal_of(test_on(volume.path()));
    EXPECT_TRUE(contains(refusal, "'5.fff' (a folder); move")) << refusal;
    std::filesystem::create_directory(volume.file("6.fff"));
    std::filesystem::create_directory(volume.file("7.fff"));
    refusal = refusal_of(test_on(volume.path()));
    EXPECT_TRUE(contains(refusal, "'5.fff' (a folder) and 2 more; move")) << refusal;
    EXPECT_FALSE(contains(refusal, "6.fff")) << refusal;
}

TEST(guard, entries_below_the_start_are_not_looked_at) {
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    std::filesystem::create_directory(volume.file("1.fff"));
    set_file_content(volume.file("2.fff"), "old");
    cli_arguments arguments = test_on(volume.path());
    arguments.start_index = 1;
    EXPECT_EQ(begun(arguments).files.numbers, std::vector<int>{2});
}

TEST(guard, any_folder_may_be_read) {
    const private_folder folder;
    EXPECT_EQ(passed(command_on(cli_command::read, folder.path())).folder, folder.path());
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    const std::string inside = volume.file("inside");
    std::filesystem::create_directory(inside);
    set_file_content(inside + "/1.fff", "old");
    const run_target target = begun(command_on(cli_command::read, inside));
    EXPECT_EQ(target.folder, inside);
    EXPECT_EQ(target.files.numbers, std::vector<int>{1});
    EXPECT_EQ(target.files.bytes, 3U);
}

TEST(guard, a_mounted_volume_passes_under_its_one_true_name) {
    const private_volume volume("size=1m", "a card's \"name\"");
    SKIP_WITHOUT(volume);
    const private_folder folder;
    std::filesystem::create_directory_symlink(volume.path(), folder.file("link"));
    const run_target target = begun(test_on(folder.file("link") + "/./"));
    EXPECT_EQ(target.folder, volume.path());
    EXPECT_EQ(target.volume.root, volume.path());
    EXPECT_EQ(target.volume.capacity_bytes, 1024U * 1024U);
    EXPECT_EQ(target.files.numbers, std::vector<int>{});
}

TEST(guard, a_volume_replaced_between_the_look_and_the_start_is_refused) {
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    set_file_content(volume.file("1.fff"), "chosen");
    const cli_arguments arguments = test_on(volume.path());
    run_target target = passed(arguments);
    ASSERT_EQ(mount("tmpfs", volume.path().c_str(), "tmpfs", 0, "size=1m"), 0);
    run_lock lock;
    std::string refusal;
    const bool begun = guard_begin(arguments, target, lock, refusal);
    EXPECT_EQ(umount2(volume.path().c_str(), MNT_DETACH), 0);
    EXPECT_FALSE(begun);
    EXPECT_TRUE(contains(refusal, "'" + volume.path() + "' was unmounted or replaced by another"))
        << refusal;
    EXPECT_EQ(cli_tests::line_count(refusal), 0U) << refusal;
    EXPECT_TRUE(guard_begin(arguments, target, lock, refusal)) << "the chosen one is back";
}

TEST(guard, every_command_that_works_on_a_volume_is_refused_while_another_run_has_it) {
    const private_volume volume("size=1m", "two\nlines");
    SKIP_WITHOUT(volume);
    set_file_content(volume.file("1.fff"), "theirs");
    run_lock other;
    ASSERT_EQ(other.take(volume.path()).state, run_lock_state::taken);
    for (const char *command : {"test", "write", "read", "clean"}) {
        const cli_tests::outcome result = cli_tests::run_cli({command, volume.path()});
        EXPECT_EQ(result.exit_status, 77) << command;
        EXPECT_EQ(result.out, "") << command;
        EXPECT_EQ(cli_tests::line_count(result.err), 1U) << result.err;
        EXPECT_TRUE(contains(result.err, "refused: another run is at work on '")) << result.err;
    }
    EXPECT_EQ(cli_tests::run_cli({"info", volume.path()}).exit_status, 0);
    EXPECT_EQ(cli_tests::file_content(volume.file("1.fff")), "theirs");
}

TEST(guard, a_run_through_a_folder_is_refused_while_another_has_its_volume) {
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    const std::string inside = volume.file("inside");
    std::filesystem::create_directory(inside);
    for (const cli_arguments &arguments :
         {test_on(inside, true), command_on(cli_command::read, inside)}) {
        run_target target = passed(arguments);
        std::string refusal;
        {
            run_lock other;
            run_lock lock;
            ASSERT_EQ(other.take(volume.path()).state, run_lock_state::taken);
            EXPECT_FALSE(guard_begin(arguments, target, lock, refusal));
        }
        run_lock begun;
        run_lock other;
        EXPECT_TRUE(guard_begin(arguments, target, begun, refusal)) << refusal;
        EXPECT_EQ(other.take(volume.path()).state, run_lock_state::locked)
            << "the root is held as well";
    }
}

TEST(guard, a_run_is_refused_while_another_has_its_volume_through_a_mount_of_a_part_of_it) {
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    const std::string inside = volume.file("inside");
    std::filesystem::create_directory(inside);
    const private_bind part(inside);
    SKIP_WITHOUT(part);
    for (const auto &[first, second] :
         {std::pair(volume.path(), part.path()), std::pair(part.path(), volume.path())}) {
        run_target target = passed(test_on(first));
        run_lock lock;
        std::string refusal;
        ASSERT_TRUE(guard_begin(test_on(first), target, lock, refusal)) << refusal;
        const cli_tests::outcome result = cli_tests::run_cli({"test", second});
        EXPECT_EQ(result.exit_status, 77);
        EXPECT_TRUE(contains(result.err, "refused: another run is at work on '" + second + "'"))
            << result.err;
        EXPECT_FALSE(cli_tests::exists(second + "/1.fff"));
    }
    EXPECT_EQ(cli_tests::run_cli({"test", part.path()}).exit_status, 0) << "free again";
}

TEST(guard, the_files_are_those_that_another_run_left_when_it_ended) {
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    const cli_arguments arguments = command_on(cli_command::read, volume.path());
    run_target target = passed(arguments);
    set_file_content(volume.file("1.fff"), "written");
    run_lock lock;
    std::string refusal;
    EXPECT_TRUE(guard_begin(arguments, target, lock, refusal)) << refusal;
    EXPECT_EQ(target.files.numbers, std::vector<int>{1});
    EXPECT_EQ(target.files.bytes, 7U);
}

TEST(guard, a_refusal_is_one_line_on_standard_error_with_status_77) {
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    std::filesystem::create_directory(volume.file("1.fff"));
    set_file_content(volume.file("2.fff"), "old");
    for (const char *command : {"test", "write", "clean"}) {
        const cli_tests::outcome result = cli_tests::run_cli({command, volume.path()});
        EXPECT_EQ(result.exit_status, 77) << command;
        EXPECT_EQ(result.out, "") << command;
        EXPECT_EQ(cli_tests::line_count(result.err), 1U) << result.err;
        EXPECT_EQ(result.err.rfind("trovik-cli: refused: '", 0), 0U) << result.err;
    }
    EXPECT_EQ(cli_tests::file_content(volume.file("2.fff")), "old");
}
