// SPDX-License-Identifier: GPL-3.0-or-later
// A volume in an image on a card: the image's pages in memory must not pass for the card.
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "cli_run.h"
#include "support/volumes.h"

using namespace system_tests;

namespace {

// An ext4 on a loop device, on a file that is there already.
class mounted_image : public volume {
 public:
    explicit mounted_image(const std::string &image) {
        m_loop = attach_loop(image, &m_device);
        EXPECT_GE(m_loop, 0) << image;
        const process_result made =
            run_program({find_program("mkfs.ext4"), "-q", "-F", "-m", "0", "-b", "4096", "-O",
                         "^has_journal", "-E", "lazy_itable_init=0", m_device});
        EXPECT_EQ(made.exit_status, 0) << made.out << made.err;
        check_mounted(mount(m_device.c_str(), path().c_str(), "ext4", MS_NOATIME, nullptr) == 0,
                      std::strerror(errno));
    }
    ~mounted_image() override {
        unmount();
        close(m_loop);
    }
    const std::string &device() const { return m_device; }

 private:
    int m_loop = -1;
    std::string m_device;
};

}  // namespace

static std::string image_on(const volume &where, std::uint64_t bytes) {
    std::ofstream(where.file("inner.img")).close();
    std::filesystem::resize_file(where.file("inner.img"), bytes);
    return where.file("inner.img");
}

TEST(image_on_a_card, counterfeit_card_below_loses_data) {
    SKIP_IF_MISSING(missing_for_cards());
    SKIP_IF_MISSING(missing_for_images({"mkfs.ext4"}));
    const card counterfeit({"--image", "--size=32M", "--real-size=16M", "--beyond=drop-00"});
    const mounted_image outer(counterfeit.file("card.img"));
    const mounted_image where(image_on(outer, 24 * mib));
    if (HasFailure())
        return;

    const cli_result run = run_cli_with_report({"test", where.path(), "--keep-files"});

    EXPECT_EQ(run.exit_status, 65) << run.out << run.err;
    EXPECT_EQ(run.json.at("verdict"), "data_lost");
    EXPECT_FALSE(run.json.at("read").at("may_rest_on_memory")) << run.out;
    // All that the image did not find room for below the real size, and more than a quarter.
    EXPECT_GT(tally_of(run.json).corrupted, 6 * mib / oracle_sector_bytes);
}

TEST(image_on_a_card, sound_card_below_is_intact) {
    SKIP_IF_MISSING(missing_for_cards());
    SKIP_IF_MISSING(missing_for_images({"mkfs.ext4"}));
    const card sound({"--image", "--size=32M"});
    const mounted_image outer(sound.file("card.img"));
    const mounted_image where(image_on(outer, 24 * mib));
    if (HasFailure())
        return;
    run_cli({"write", where.path()});
    const cli_result run = run_cli_with_report({"read", where.path()});
    EXPECT_EQ(run.exit_status, 0) << run.out << run.err;
    EXPECT_FALSE(run.json.at("read").at("may_rest_on_memory")) << run.out;
}

// It lies in the computer's memory, or on a disk whose pages an ordinary user cannot ask for.
TEST(image_on_a_card, unreachable_image_is_no_pass) {
    SKIP_IF_MISSING(missing_for_images({"mkfs.ext4"}));
    const private_folder folder;
    const std::string image = folder.path() + "/image";
    std::ofstream(image).close();
    std::filesystem::resize_file(image, 16 * mib);
    const mounted_image where(image);
    if (HasFailure())
        return;
    run_cli({"write", where.path()});
    ASSERT_EQ(chmod(where.path().c_str(), 0777), 0);
    process_options options;
    options.user = 65534;
    options.environment = {"HOME=/"};
    if (run_cli({"info", where.path()}, options).exit_status != 0)
        GTEST_SKIP() << "an ordinary user may not reach " << TROVIK_CLI_PROGRAM;
    ASSERT_EQ(chown(where.file("1.fff").c_str(), 65534, 65534), 0);

    const process_result run = run_cli({"read", where.path()}, options);

    EXPECT_EQ(run.exit_status, 75) << run.out << run.err;
    EXPECT_NE((run.out + run.err)
                  .find("What is read now may come from the computer's memory: the file that " +
                        where.device() + " reads from cannot be reached: Permission denied\n"),
              std::string::npos)
        << run.out << run.err;
}
