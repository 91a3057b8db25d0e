// SPDX-License-Identifier: GPL-3.0-or-later
// exFAT and NTFS in user space on a counterfeit device: the device's pages in memory must not pass
// for the card.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <optional>

#include "cli_run.h"
#include "support/volumes.h"

using namespace system_tests;

namespace {

struct user_space_file_system {
    const char *name;
    std::vector<std::string> make, mount;

    friend void PrintTo(const user_space_file_system &kind, std::ostream *out) {
        *out << kind.name;
    }
};

// A loop device straight on a file of a card, past the cache of that file: as a
// card's own device node would be.
class loop_on_card {
 public:
    loop_on_card(const card &where, std::uint64_t bytes) {
        const std::string image = where.file("image");
        close(open(image.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
        std::filesystem::resize_file(image, bytes);
        const process_result attached =
            run_program({"losetup", "--direct-io=on", "--find", "--show", image});
        EXPECT_EQ(attached.exit_status, 0) << attached.err;
        m_device = attached.out.substr(0, attached.out.find('\n'));
    }
    ~loop_on_card() { run_program({"losetup", "--detach", m_device}); }
    loop_on_card(const loop_on_card &) = delete;
    loop_on_card &operator=(const loop_on_card &) = delete;
    const std::string &device() const { return m_device; }

 private:
    std::string m_device;
};

class mounted_device : public volume {
 public:
    mounted_device(const std::string &device, const user_space_file_system &kind) {
        std::vector<std::string> make = kind.make;
        make[0] = find_program(make[0]);
        make.push_back(device);
        const process_result made = run_program(make);
        EXPECT_EQ(made.exit_status, 0) << made.out << made.err;
        const process_result mounted = run_program({find_program(kind.mount[0]), device, path()});
        check_mounted(mounted.exit_status == 0, mounted.out + mounted.err);
    }
    ~mounted_device() override { unmount(); }
};

// The file system on a device of 20 MiB on a card of this kind.
struct mounted_card {
    mounted_card(std::vector<std::string> card_options, const user_space_file_system &kind)
        : below(std::move(card_options)), loop(below, 20 * mib), mounted(loop.device(), kind) {}
    card below;
    loop_on_card loop;
    mounted_device mounted;
};

class user_space_file_systems : public testing::TestWithParam<user_space_file_system> {
 protected:
    static inline const std::vector<std::string> sound = {"--size=24M"};
    static inline const std::vector<std::string> counterfeit = {"--size=24M", "--real-size=8M",
                                                                "--beyond=drop-00"};

    static std::string missing() {
        const std::string card_missing = missing_for_cards();
        return card_missing.empty()
                   ? missing_for_images({GetParam().make[0], GetParam().mount[0], "losetup"})
                   : card_missing;
    }

    // Keeps in m_run how a test of such a card ends that is run by a user who may use the volume
    // and may not open its device; none when that cannot be had, skipped then or failed.
    void test_without_the_device(const std::vector<std::string> &card_options) {
        SKIP_IF_MISSING(missing());
        const mounted_card where(card_options, GetParam());
        if (HasFailure())
            return;
        process_options options;
        options.user = 65534;
        options.environment = {"HOME=/"};
        EXPECT_EQ(chmod(where.mounted.path().c_str(), 0777), 0);
        if (run_cli({"info", where.mounted.path()}, options).exit_status != 0)
            GTEST_SKIP() << "an ordinary user may not reach " << GetParam().name << " here";
        m_run = run_cli({"test", where.mounted.path(), "--json=-"}, options);
    }
    std::optional<process_result> m_run;
};

}  // namespace

TEST_P(user_space_file_systems, counterfeit_device_loses_data) {
    SKIP_IF_MISSING(missing());
    const mounted_card where(counterfeit, GetParam());
    if (HasFailure())
        return;
    const cli_result run = run_cli_with_report({"test", where.mounted.path(), "--keep-files"});

    EXPECT_EQ(run.exit_status, 65) << run.out << run.err;
    EXPECT_EQ(run.json.at("verdict"), "data_lost");
    EXPECT_FALSE(run.json.at("read").at("may_rest_on_memory"));
    // Everything beyond the real size, and at least half of the written data.
    EXPECT_GT(tally_of(run.json).corrupted, 8 * mib / oracle_sector_bytes);
    // Without the device's copy, the files are as reported.
    EXPECT_EQ(run_program({"blockdev", "--flushbufs", where.loop.device()}).exit_status, 0);
    expect_oracle_agrees(where.mounted, run.json);
}

// It looks intact, since it is the computer's memory that is read.
static void expect_unproven(const process_result &run) {
    EXPECT_EQ(run.exit_status, 75) << run.out << run.err;
    const auto report = nlohmann::json::parse(run.out, nullptr, false);
    ASSERT_TRUE(report.is_object()) << run.err;
    EXPECT_EQ(report.at("verdict"), "unproven");
    EXPECT_TRUE(report.at("read").at("may_rest_on_memory"));
    EXPECT_NE(run.err.find("What is read now may come from the computer's memory: "),
              std::string::npos)
        << run.err;
}

TEST_P(user_space_file_systems, undroppable_copy_is_no_pass) {
    test_without_the_device(sound);
    if (m_run)
        expect_unproven(*m_run);
}

TEST_P(user_space_file_systems, counterfeit_with_undroppable_copy_is_no_pass) {
    test_without_the_device(counterfeit);
    if (!m_run)
        return;
    const auto report = nlohmann::json::parse(m_run->out, nullptr, false);
    ASSERT_TRUE(report.is_object()) << m_run->err;
    EXPECT_TRUE(report.at("read").at("may_rest_on_memory"));
    // The system takes memory back when it likes: then part of the truth is read after all.
    const bool shows = report.at("read").at("sectors").at("corrupted") > 0;
    EXPECT_EQ(report.at("verdict"), shows ? "data_lost" : "unproven");
    EXPECT_EQ(m_run->exit_status, shows ? 65 : 75) << m_run->out << m_run->err;
}

INSTANTIATE_TEST_SUITE_P(
    of_each_kind, user_space_file_systems,
    testing::Values(user_space_file_system{"exfat", {"mkfs.exfat"}, {"mount.exfat-fuse"}},
                    user_space_file_system{"ntfs", {"mkfs.ntfs", "-F", "-Q", "-q"}, {"ntfs-3g"}}),
    [](const auto &test) { return std::string(test.param.name); });
