// SPDX-License-Identifier: GPL-3.0-or-later
#include "runner/run_steps.h"

#include <gtest/gtest.h>
#include <sys/mount.h>

#include <algorithm>
#include <filesystem>

#include "model/engine_results.h"
#include "support/folder.h"
#include "support/locked_pages.h"
#include "support/volumes.h"

using test_support::exists;
using test_support::file_content;
using test_support::set_file_content;
using test_support::tmpfs_volume;

namespace {

using names = std::vector<std::string>;

names entries(const std::string &folder) {
    names found;
    for (const auto &entry : std::filesystem::directory_iterator(folder))
        found.push_back(entry.path().filename().string());
    std::sort(found.begin(), found.end());
    return found;
}

const char *name_of(run_step step) {
    switch (step) {
        case run_step::remove:
            return "remove";
        case run_step::fill:
            return "fill";
        case run_step::list:
            return "list";
        case run_step::read:
            return "read";
        case run_step::clean_up:
            return "clean_up";
    }
    return "";
}

// A volume taken for a run, and the steps that the callbacks saw.
class run_steps_fixture : public testing::Test {
 protected:
    run_steps_fixture() {
        m_callbacks.before = [this](run_step step) {
            m_seen.push_back(std::string("before ") + name_of(step));
        };
        m_callbacks.after = [this](run_step step) {
            m_seen.push_back(std::string("after ") + name_of(step));
        };
        m_callbacks.memory_doubt = [this](const std::string &line) { m_seen.push_back(line); };
    }
    ~run_steps_fixture() override {
        while (m_covers-- > 0)
            EXPECT_EQ(umount2(m_volume.c_path(), MNT_DETACH), 0);
    }
    run_steps_fixture(const run_steps_fixture &) = delete;
    run_steps_fixture &operator=(const run_steps_fixture &) = delete;

    void take(int start_index = 0) {
        ASSERT_FALSE(m_guard.look({.path = m_volume.path(), .start_index = start_index}));
        ASSERT_FALSE(m_guard.take());
    }

    // Mounts another volume with a user's 1.fff over the one that is tested.
    void cover() {
        ASSERT_EQ(mount("tmpfs", m_volume.c_path(), "tmpfs", 0, "size=1m"), 0);
        ++m_covers;
        set_file_content(m_volume.file("1.fff"), "of another volume");
    }
    void cover_after(run_step last) {
        m_callbacks.after = [this, last](run_step step) {
            m_seen.push_back(std::string("after ") + name_of(step));
            if (step == last)
                cover();
        };
    }
    void expect_other_volume_untouched() {
        EXPECT_EQ(file_content(m_volume.file("1.fff")), "of another volume");
    }

    static constexpr run_plan whole_test() { return {.remove = true, .fill = true, .read = true}; }

    tmpfs_volume m_volume{"size=512k"};
    run_guard m_guard;
    run_callbacks m_callbacks;
    names m_seen;

    int m_covers = 0;
};

}  // namespace

using run_steps_test = run_steps_fixture;

TEST_F(run_steps_test, runs_all_steps_in_order) {
    SKIP_WITHOUT(m_volume);
    set_file_content(m_volume.file("1.fff"), "left alone");
    set_file_content(m_volume.file("2.fff"), "old");
    set_file_content(m_volume.file("9.fff"), "old");
    take(1);
    run_steps steps(m_guard, whole_test(), m_callbacks);
    steps.execute();
    EXPECT_EQ(m_seen, (names{"before remove", "after remove", "before fill", "after fill",
                             "before list", "after list", "before read", "after read"}));
    EXPECT_EQ(entries(m_volume.path()), (names{"1.fff", "2.fff"}));
    EXPECT_EQ(file_content(m_volume.file("1.fff")), "left alone");
    engine_read_results read = {};
    engine_results_read(&read);
    EXPECT_EQ(read.finished, 1);
    EXPECT_EQ(read.bytes_read, test_support::file_size(m_volume.file("2.fff")));
    EXPECT_EQ(read.ok * 512, read.bytes_read);
    EXPECT_EQ(engine_results_phase(), ENGINE_PHASE_IDLE);
}

TEST_F(run_steps_test, clean_up_removes_test_files_from_start_on) {
    SKIP_WITHOUT(m_volume);
    set_file_content(m_volume.file("1.fff"), "left alone");
    take(1);
    run_steps steps(m_guard, {.fill = true}, m_callbacks);
    steps.execute();
    EXPECT_EQ(entries(m_volume.path()), (names{"1.fff", "2.fff"}));
    steps.clean_up();
    EXPECT_EQ(m_seen, (names{"before fill", "after fill", "before clean_up", "after clean_up"}));
    EXPECT_EQ(entries(m_volume.path()), names{"1.fff"});
}

TEST_F(run_steps_test, runs_only_planned_steps) {
    SKIP_WITHOUT(m_volume);
    set_file_content(m_volume.file("1.fff"), "old");
    take();
    run_steps(m_guard, {}, m_callbacks).execute();
    EXPECT_EQ(file_content(m_volume.file("1.fff")), "old");
    run_steps(m_guard, {.remove = true}, m_callbacks).execute();
    EXPECT_EQ(entries(m_volume.path()), names{});
    run_steps(m_guard, {.fill = true}, m_callbacks).execute();
    EXPECT_EQ(entries(m_volume.path()), names{"1.fff"});
    run_steps(m_guard, {.read = true}, m_callbacks).execute();
    EXPECT_EQ(m_seen, (names{"before remove", "after remove", "before fill", "after fill",
                             "before list", "after list", "before read", "after read"}));
}

TEST_F(run_steps_test, needs_no_callbacks) {
    SKIP_WITHOUT(m_volume);
    take();
    run_steps steps(m_guard, whole_test());
    steps.execute();
    steps.clean_up();
    EXPECT_EQ(entries(m_volume.path()), names{});
}

TEST_F(run_steps_test, scope_names_the_planned_phases) {
    SKIP_WITHOUT(m_volume);
    take(3);
    const run_scope test = run_steps(m_guard, whole_test()).scope();
    EXPECT_TRUE(test.has_write && test.has_read && test.expects_all_written);
    EXPECT_EQ(test.start_index, 3);
    const run_scope write = run_steps(m_guard, {.remove = true, .fill = true}).scope();
    EXPECT_TRUE(write.has_write && !write.has_read && !write.expects_all_written);
    const run_scope read = run_steps(m_guard, {.read = true}).scope();
    EXPECT_TRUE(!read.has_write && read.has_read && !read.expects_all_written);
}

TEST_F(run_steps_test, begins_nothing_on_replaced_volume) {
    SKIP_WITHOUT(m_volume);
    take();
    cover();
    run_steps steps(m_guard, whole_test(), m_callbacks);
    steps.execute();
    steps.clean_up();
    EXPECT_EQ(m_seen, names{});
    EXPECT_TRUE(steps.is_volume_gone());
    const run_scope scope = steps.scope();
    EXPECT_TRUE(scope.volume_gone);
    EXPECT_FALSE(scope.has_write || scope.has_read) << "the engine's records are of another run";
    expect_other_volume_untouched();
}

TEST_F(run_steps_test, stops_before_filling_a_volume_replaced_while_removing) {
    SKIP_WITHOUT(m_volume);
    take();
    cover_after(run_step::remove);
    run_steps steps(m_guard, whole_test(), m_callbacks);
    steps.execute();
    EXPECT_EQ(m_seen, (names{"before remove", "after remove"}));
    EXPECT_TRUE(steps.scope().volume_gone);
    EXPECT_FALSE(steps.scope().has_write);
    expect_other_volume_untouched();
}

TEST_F(run_steps_test, stops_before_reading_a_volume_replaced_while_filling) {
    SKIP_WITHOUT(m_volume);
    take();
    cover_after(run_step::fill);
    run_steps steps(m_guard, whole_test(), m_callbacks);
    steps.execute();
    EXPECT_EQ(m_seen.back(), "after fill");
    EXPECT_TRUE(steps.scope().volume_gone);
    EXPECT_TRUE(steps.scope().has_write);
    EXPECT_FALSE(steps.scope().has_read);
    expect_other_volume_untouched();
}

TEST_F(run_steps_test, notices_a_volume_replaced_in_the_last_step) {
    SKIP_WITHOUT(m_volume);
    take();
    for (const run_plan &plan :
         {whole_test(), run_plan{.remove = true, .fill = true}, run_plan{.remove = true}}) {
        cover_after(plan.read ? run_step::read : plan.fill ? run_step::fill : run_step::remove);
        run_steps steps(m_guard, plan, m_callbacks);
        steps.execute();
        EXPECT_TRUE(steps.scope().volume_gone);
        EXPECT_EQ(steps.scope().has_read, plan.read);
        steps.clean_up();
        expect_other_volume_untouched();
        ASSERT_EQ(umount2(m_volume.c_path(), MNT_DETACH), 0);
        --m_covers;
    }
}

TEST_F(run_steps_test, cleans_no_volume_replaced_after_the_steps) {
    SKIP_WITHOUT(m_volume);
    take();
    run_steps steps(m_guard, whole_test(), m_callbacks);
    steps.execute();
    EXPECT_FALSE(steps.scope().volume_gone);
    cover();
    steps.clean_up();
    EXPECT_TRUE(steps.is_volume_gone());
    EXPECT_EQ(m_seen.back(), "after read");
    expect_other_volume_untouched();
}

TEST_F(run_steps_test, says_once_before_listing_that_reading_may_come_from_memory) {
    SKIP_IF_MISSING(test_support::missing_for_images({"mkfs.ext4"}));
    const test_support::image_volume volume(2 * test_support::mib, {"mkfs.ext4", "-q", "-F"}, {},
                                            "ext4");
    run_guard guard;  // ends before the volume, which it keeps in use
    ASSERT_FALSE(guard.look({.path = volume.path()}));
    ASSERT_FALSE(guard.take());
    run_steps(guard, {.fill = true}).execute();
    const test_support::locked_pages locked(volume.file("1.fff"));
    run_steps steps(guard, {.read = true}, m_callbacks);
    EXPECT_FALSE(steps.scope().may_rest_on_memory);
    steps.execute();
    EXPECT_TRUE(steps.scope().may_rest_on_memory);
    ASSERT_EQ(m_seen.size(), 5U);
    EXPECT_EQ(m_seen[0].find("What is read now may come from the computer's memory: 1.fff "), 0U)
        << m_seen[0];
    EXPECT_EQ(m_seen[0].back(), '\n');
    EXPECT_EQ(m_seen[1], "before list");
}
