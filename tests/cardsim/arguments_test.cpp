// SPDX-License-Identifier: GPL-3.0-or-later
/* The command line's options, errors and help. */
#include "tools/cardsim/arguments.h"

#include <gtest/gtest.h>

#include <sstream>

using cardsim::arguments_verdict;
using cardsim::card_beyond;
using cardsim::card_options;

namespace {

card_options parse(std::vector<std::string> words) {
    words.insert(words.begin(), "/mnt");
    card_options options;
    std::string error;
    EXPECT_EQ(cardsim::arguments_parse(words, &options, &error), arguments_verdict::run) << error;
    return options;
}

std::string refusal(std::vector<std::string> words) {
    words.insert(words.begin(), "/mnt");
    card_options options;
    std::string error;
    EXPECT_EQ(cardsim::arguments_parse(words, &options, &error), arguments_verdict::wrong);
    EXPECT_EQ(error.find('\n'), std::string::npos) << error;
    return error;
}

}  // namespace

TEST(arguments, card_is_sound_without_options) {
    const card_options options = parse({});
    EXPECT_EQ(options.mount_point, "/mnt");
    EXPECT_EQ(options.announced_sectors, 131072U);
    EXPECT_EQ(options.usable_sectors, 131072U);
    EXPECT_EQ(options.device.real_sectors, 131072U);
    EXPECT_EQ(options.device.beyond, card_beyond::drop_00);
    EXPECT_FALSE(options.read_only || options.statfs_fails || options.fsync_fails);
    EXPECT_FALSE(options.life.lock_after || options.life.unplug_after || options.statfs_free);
    EXPECT_EQ(options.life.unplug_error, ENODEV);
}

TEST(arguments, every_option_reaches_card) {
    const card_options options = parse({"--size=1G",
                                        "--real-size=8M",
                                        "--beyond=wrap-last=1M",
                                        "--backing=/tmp/x",
                                        "--seed=7",
                                        "--write-rate=2M",
                                        "--read-rate=3M",
                                        "--write-latency-us=4",
                                        "--read-latency-us=5",
                                        "--slow-after=10M",
                                        "--stall-every=11M",
                                        "--stall-seconds=12",
                                        "--flip=1:2",
                                        "--flip=3:4,5:6",
                                        "--flip-rate=0.5",
                                        "--misread=7:8,9:10",
                                        "--read-error=10-12",
                                        "--read-error=14",
                                        "--write-error=20",
                                        "--read-only",
                                        "--lock-after=1M",
                                        "--unplug-after-written=2M",
                                        "--unplug-after-read=3M",
                                        "--unplug-after=1.5",
                                        "--unplug-at=remove",
                                        "--unplug-error=EIO",
                                        "--full-at=512M",
                                        "--root-entries=5",
                                        "--statfs-free=9M",
                                        "--statfs-fails",
                                        "--fsync-fails",
                                        "--foreground"});
    EXPECT_EQ(options.announced_sectors, 2097152U);
    EXPECT_EQ(options.usable_sectors, 1048576U);
    EXPECT_EQ(options.device.real_sectors, 16384U);
    EXPECT_EQ(options.device.beyond, card_beyond::wrap_last);
    EXPECT_EQ(options.device.wrap_last_sectors, 2048U);
    EXPECT_EQ(options.backing, "/tmp/x");
    EXPECT_EQ(options.device.seed, 7U);
    EXPECT_EQ(options.speed.write_rate, 2097152U);
    EXPECT_EQ(options.speed.read_rate, 3145728U);
    EXPECT_EQ(options.speed.write_latency.count(), 4);
    EXPECT_EQ(options.speed.read_latency.count(), 5);
    EXPECT_EQ(options.device.flips.size(), 3U);
    EXPECT_DOUBLE_EQ(options.device.flip_rate, 0.5);
    EXPECT_TRUE(options.device.read_errors.overlap(14, 1));
    EXPECT_FALSE(options.device.read_errors.overlap(13, 1));
    EXPECT_TRUE(options.device.write_errors.overlap(20, 1));
    EXPECT_TRUE(options.read_only && options.statfs_fails && options.fsync_fails &&
                options.foreground);
    EXPECT_EQ(options.life.lock_after, 1048576U);
    EXPECT_EQ(options.life.unplug_after_written, 2097152U);
    EXPECT_EQ(options.life.unplug_after_read, 3145728U);
    EXPECT_EQ(options.life.unplug_after, std::chrono::milliseconds(1500));
    EXPECT_EQ(options.life.unplug_error, EIO);
    EXPECT_EQ(options.statfs_free, 9437184U);
    EXPECT_EQ(options.speed.slow_after, 10485760U);
    EXPECT_EQ(options.speed.stall_every, 11534336U);
    EXPECT_EQ(options.speed.stall.count(), 12);
    EXPECT_EQ(options.device.misreads, (std::map<uint64_t, uint64_t>{{7, 8}, {9, 10}}));
    EXPECT_EQ(options.life.unplug_at, cardsim::life_moment::remove);
    EXPECT_EQ(options.root_entries, 5U);
}

TEST(arguments, image_refuses_options_of_file_systems) {
    const card_options options = parse({"--image", "--contents=/tmp/x", "--real-size=8M",
                                        "--beyond=wrap", "--lock-after=1M", "--fsync-fails"});
    EXPECT_TRUE(options.image);
    EXPECT_EQ(options.contents, "/tmp/x");
    for (const char *option : {"--full-at=1M", "--root-entries=1", "--statfs-free=1M",
                               "--statfs-fails", "--unplug-at=list"}) {
        const std::string words = option;
        EXPECT_EQ(refusal({"--image", words}), words.substr(0, words.find('=')) +
                                                   ": needs a file system, and --image has "
                                                   "none");
    }
    EXPECT_EQ(refusal({"--contents=/tmp/x"}), "--contents: needs --image");
}

TEST(arguments, beyond_accepts_each_kind) {
    EXPECT_EQ(parse({"--beyond=wrap"}).device.beyond, card_beyond::wrap);
    EXPECT_EQ(parse({"--beyond=drop-00"}).device.beyond, card_beyond::drop_00);
    EXPECT_EQ(parse({"--beyond=drop-ff"}).device.beyond, card_beyond::drop_ff);
    EXPECT_EQ(parse({"--beyond=garbage"}).device.beyond, card_beyond::garbage);
}

TEST(arguments, card_that_takes_more_than_announced_keeps_it) {
    EXPECT_EQ(parse({"--size=1M", "--full-at=2M"}).device.real_sectors, 4096U);
    EXPECT_EQ(parse({"--size=2M", "--full-at=1M"}).device.real_sectors, 4096U);
}

TEST(arguments, values_may_be_words_of_their_own) {
    card_options options;
    std::string error;
    EXPECT_EQ(cardsim::arguments_parse({"--flip", "1:2", "--size", "1M", "/mnt"}, &options, &error),
              arguments_verdict::run)
        << error;
    EXPECT_EQ(options.mount_point, "/mnt");
    EXPECT_EQ(options.announced_sectors, 2048U);
}

TEST(arguments, errors_name_option_and_reason) {
    EXPECT_EQ(refusal({"--size=12Q"}),
              "--size: '12Q' is not a size (examples: 4096, 64K, 16M, 2G)");
    EXPECT_EQ(refusal({"--size=1000"}), "--size: '1000' is not a multiple of 512 bytes");
    EXPECT_EQ(refusal({"--size=0"}), "--size: a card needs at least one sector of 512 bytes");
    EXPECT_EQ(refusal({"--full-at=100"}), "--full-at: '100' is not a multiple of 512 bytes");
    EXPECT_EQ(refusal({"--beyond=fold"}),
              "--beyond: 'fold' is none of wrap, wrap-last=SIZE, drop-00, drop-ff, garbage");
    EXPECT_EQ(refusal({"--beyond=wrap-last=0"}),
              "--beyond: wrap-last needs at least 512 bytes to fold into");
    EXPECT_EQ(refusal({"--real-size=1M", "--beyond=wrap-last=2M"}),
              "--beyond: wrap-last folds into more than the real size");
    EXPECT_EQ(refusal({"--real-size=0", "--beyond=wrap"}),
              "--beyond: wrap needs a --real-size to wrap into");
    EXPECT_EQ(refusal({"--write-rate=0"}),
              "--write-rate: a card with a rate of 0 would never answer");
    EXPECT_EQ(refusal({"--unplug-after-read=0"}),
              "--unplug-after-read: a card that is gone from the start cannot be mounted");
    EXPECT_EQ(refusal({"--unplug-error=EPERM"}),
              "--unplug-error: 'EPERM' is neither ENODEV nor EIO");
    EXPECT_EQ(refusal({"--unplug-at=end"}), "--unplug-at: 'end' is neither list nor remove");
    EXPECT_EQ(refusal({"--slow-after=1M"}), "--slow-after: needs a --write-rate to fall from");
    EXPECT_EQ(refusal({"--stall-seconds=3601"}), "--stall-seconds: '3601' is more than an hour");
    EXPECT_EQ(refusal({"--flip=1:9999"}), "--flip: '1:9999' names a bit outside 0 to 4095");
}

TEST(arguments, refuses_malformed_values_of_every_option) {
    for (const char *name : {"--size",
                             "--real-size",
                             "--beyond",
                             "--seed",
                             "--write-rate",
                             "--read-rate",
                             "--write-latency-us",
                             "--read-latency-us",
                             "--flip",
                             "--flip-rate",
                             "--read-error",
                             "--write-error",
                             "--lock-after",
                             "--unplug-after-written",
                             "--unplug-after-read",
                             "--unplug-after",
                             "--unplug-error",
                             "--full-at",
                             "--statfs-free",
                             "--slow-after",
                             "--stall-every",
                             "--stall-seconds",
                             "--misread",
                             "--unplug-at",
                             "--root-entries"}) {
        const std::string error = refusal({std::string(name) + "=x"});
        EXPECT_EQ(error.find(std::string(name) + ": 'x' "), 0U) << error;
    }
}

TEST(arguments, refuses_unknown_words_and_missing_values) {
    EXPECT_NE(refusal({"--sise=1M"}).find("--sise"), std::string::npos);
    EXPECT_NE(refusal({"--size"}).find("--size"), std::string::npos);
    EXPECT_NE(refusal({"elsewhere"}).find("elsewhere"), std::string::npos);
    card_options options;
    std::string error;
    EXPECT_EQ(cardsim::arguments_parse({}, &options, &error), arguments_verdict::wrong);
    EXPECT_NE(error.find("MOUNTPOINT"), std::string::npos) << error;
}

TEST(arguments, help_wins_over_other_words) {
    card_options options;
    std::string error;
    EXPECT_EQ(cardsim::arguments_parse({"--size=x", "--help"}, &options, &error),
              arguments_verdict::help);
}

TEST(arguments, help_explains_every_option) {
    const std::string help(cardsim::help_text());
    const auto names = cardsim::arguments_known();
    EXPECT_GE(names.size(), 24U);
    for (const std::string &name : names) {
        const size_t at = help.find("  " + name);
        const bool after_short_form = help.find("-h, " + name) != std::string::npos;
        EXPECT_TRUE(at != std::string::npos || after_short_form) << name;
    }
}

TEST(arguments, help_fits_a_terminal) {
    std::istringstream lines{std::string(cardsim::help_text())};
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(line.size(), 80U) << line;
    }
}
