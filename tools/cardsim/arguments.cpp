// SPDX-License-Identifier: GPL-3.0-or-later
/* CLI11 parses the command line; the values are parsed here, because CLI11's conversions
 * accept partly valid values and word their errors for programmers. */
#include "tools/cardsim/arguments.h"

#include <CLI/CLI.hpp>
#include <chrono>
#include <limits>

#include "tools/cardsim/value_text.h"

namespace cardsim {

namespace {

constexpr uint64_t DEFAULT_SIZE = uint64_t{64} * 1024 * 1024;

// Keeps times within the range of 64-bit nanoseconds.
constexpr uint64_t LONGEST_LATENCY_US = uint64_t{3600} * 1000 * 1000;
constexpr double LONGEST_LIFE_S = 1e9;

/* The values as typed; absent options stay empty. */
struct typed_values {
    std::optional<std::string> size, real_size, beyond, seed;
    std::optional<std::string> write_rate, read_rate, write_latency, read_latency;
    std::optional<std::string> flip_rate;
    std::optional<std::string> slow_after, stall_every, stall_seconds;
    std::vector<std::string> flips, misreads, read_errors, write_errors;
    std::optional<std::string> lock_after, unplug_written, unplug_read, unplug_after, unplug_error;
    std::optional<std::string> unplug_at, full_at, statfs_free, root_entries;
};

void declare_options(CLI::App &app, typed_values &typed, card_options &options) {
    app.set_help_flag();  // the help is longer than CLI11 can lay out
    app.add_option("MOUNTPOINT", options.mount_point)->required();
    app.add_option("--size", typed.size);
    app.add_option("--real-size", typed.real_size);
    app.add_option("--beyond", typed.beyond);
    app.add_flag("--image", options.image);
    app.add_option("--contents", options.contents);
    app.add_option("--backing", options.backing);
    app.add_option("--seed", typed.seed);
    app.add_option("--write-rate", typed.write_rate);
    app.add_option("--read-rate", typed.read_rate);
    app.add_option("--write-latency-us", typed.write_latency);
    app.add_option("--read-latency-us", typed.read_latency);
    app.add_option("--slow-after", typed.slow_after);
    app.add_option("--stall-every", typed.stall_every);
    app.add_option("--stall-seconds", typed.stall_seconds);
    app.add_option("--flip", typed.flips)->allow_extra_args(false);
    app.add_option("--flip-rate", typed.flip_rate);
    app.add_option("--misread", typed.misreads)->allow_extra_args(false);
    app.add_option("--read-error", typed.read_errors)->allow_extra_args(false);
    app.add_option("--write-error", typed.write_errors)->allow_extra_args(false);
    app.add_flag("--read-only", options.read_only);
    app.add_option("--lock-after", typed.lock_after);
    app.add_option("--unplug-after-written", typed.unplug_written);
    app.add_option("--unplug-after-read", typed.unplug_read);
    app.add_option("--unplug-after", typed.unplug_after);
    app.add_option("--unplug-at", typed.unplug_at);
    app.add_option("--unplug-error", typed.unplug_error);
    app.add_option("--full-at", typed.full_at);
    app.add_option("--root-entries", typed.root_entries);
    app.add_option("--statfs-free", typed.statfs_free);
    app.add_flag("--statfs-fails", options.statfs_fails);
    app.add_flag("--fsync-fails", options.fsync_fails);
    app.add_flag("--foreground", options.foreground);
}

/* Parses values into the options and keeps the message of the first wrong one. */
class value_reader {
 public:
    explicit value_reader(std::string *error) : m_error(error) {}

    bool sound() const { return m_sound; }

    void wrong(const char *option, const std::string &reason) {
        if (m_sound) {
            *m_error = std::string(option) + ": " + reason;
            m_sound = false;
        }
    }

    void size(const char *option, const std::optional<std::string> &text, uint64_t *bytes) {
        std::string reason;
        if (text && !value_parse_size(*text, bytes, &reason)) {
            wrong(option, reason);
        }
    }

    void size(const char *option, const std::optional<std::string> &text,
              std::optional<uint64_t> *bytes) {
        if (text) {
            size(option, text, &bytes->emplace());
        }
    }

    /* A size in whole sectors; *sectors_read keeps its value if the option is absent. */
    void sectors(const char *option, const std::optional<std::string> &text,
                 uint64_t *sectors_read) {
        uint64_t bytes = *sectors_read * CARD_SECTOR_SIZE;
        size(option, text, &bytes);
        if (bytes % CARD_SECTOR_SIZE != 0) {
            wrong(option, "'" + *text + "' is not a multiple of 512 bytes");
        }
        *sectors_read = bytes / CARD_SECTOR_SIZE;
    }

    void rate(const char *option, const std::optional<std::string> &text, uint64_t *rate_read) {
        size(option, text, rate_read);
        if (text && *rate_read == 0) {
            wrong(option, "a card with a rate of 0 would never answer");
        }
    }

    void latency(const char *option, const std::optional<std::string> &text,
                 std::chrono::microseconds *latency_read) {
        std::string reason;
        uint64_t number = 0;
        if (!text) {
            return;
        }
        if (!value_parse_number(*text, &number, &reason)) {
            wrong(option, reason);
        } else if (number > LONGEST_LATENCY_US) {
            wrong(option, "'" + *text + "' is more than an hour");
        } else {
            *latency_read = std::chrono::microseconds(number);
        }
    }

    void seconds(const char *option, const std::optional<std::string> &text,
                 std::chrono::seconds *seconds_read) {
        std::string reason;
        uint64_t number = 0;
        if (text && !value_parse_number(*text, &number, &reason)) {
            wrong(option, reason);
        } else if (number > LONGEST_LATENCY_US / 1000000) {
            wrong(option, "'" + *text + "' is more than an hour");
        } else if (text) {
            *seconds_read = std::chrono::seconds(number);
        }
    }

    /* A count of bytes after which the card is gone. */
    void last_byte(const char *option, const std::optional<std::string> &text,
                   std::optional<uint64_t> *bytes) {
        size(option, text, bytes);
        if (*bytes && **bytes == 0) {
            wrong(option, "a card that is gone from the start cannot be mounted");
        }
    }

 private:
    std::string *m_error;
    bool m_sound = true;
};

void read_beyond(value_reader &reader, const std::string &text, card_traits *device) {
    static const std::string wrap_last = "wrap-last=";
    if (text == "wrap") {
        device->beyond = card_beyond::wrap;
    } else if (text == "drop-00") {
        device->beyond = card_beyond::drop_00;
    } else if (text == "drop-ff") {
        device->beyond = card_beyond::drop_ff;
    } else if (text == "garbage") {
        device->beyond = card_beyond::garbage;
    } else if (text.starts_with(wrap_last)) {
        device->beyond = card_beyond::wrap_last;
        reader.sectors("--beyond", text.substr(wrap_last.size()), &device->wrap_last_sectors);
        if (device->wrap_last_sectors == 0) {
            reader.wrong("--beyond", "wrap-last needs at least 512 bytes to fold into");
        }
    } else {
        reader.wrong("--beyond", "'" + text +
                                     "' is none of wrap, wrap-last=SIZE, drop-00, drop-ff, "
                                     "garbage");
    }
}

void read_sizes(value_reader &reader, const typed_values &typed, card_options *options) {
    options->announced_sectors = DEFAULT_SIZE / CARD_SECTOR_SIZE;
    reader.sectors("--size", typed.size, &options->announced_sectors);
    if (options->announced_sectors == 0) {
        reader.wrong("--size", "a card needs at least one sector of 512 bytes");
    }
    options->usable_sectors = options->announced_sectors;
    reader.sectors("--full-at", typed.full_at, &options->usable_sectors);
    // A card that takes more than announced is sound unless --real-size is given.
    options->device.real_sectors = std::max(options->announced_sectors, options->usable_sectors);
    reader.sectors("--real-size", typed.real_size, &options->device.real_sectors);
    if (typed.beyond) {
        read_beyond(reader, *typed.beyond, &options->device);
    }
    if (options->device.beyond == card_beyond::wrap && options->device.real_sectors == 0) {
        reader.wrong("--beyond", "wrap needs a --real-size to wrap into");
    }
    if (options->device.wrap_last_sectors > options->device.real_sectors) {
        reader.wrong("--beyond", "wrap-last folds into more than the real size");
    }
    reader.size("--statfs-free", typed.statfs_free, &options->statfs_free);
    std::string reason;
    if (typed.root_entries &&
        !value_parse_number(*typed.root_entries, &options->root_entries.emplace(), &reason)) {
        reader.wrong("--root-entries", reason);
    }
}

/* Refuses options that simulate a file system together with --image. */
void check_image(value_reader &reader, const typed_values &typed, const card_options &options) {
    const std::pair<const char *, bool> of_file_systems[] = {
        {"--full-at", typed.full_at.has_value()},
        {"--root-entries", typed.root_entries.has_value()},
        {"--statfs-free", typed.statfs_free.has_value()},
        {"--statfs-fails", options.statfs_fails},
        {"--unplug-at", typed.unplug_at.has_value()},
    };
    for (const auto &[option, given] : of_file_systems) {
        if (given && options.image) {
            reader.wrong(option, "needs a file system, and --image has none");
        }
    }
    if (!options.contents.empty() && !options.image) {
        reader.wrong("--contents", "needs --image");
    }
}

void read_faults(value_reader &reader, const typed_values &typed, card_traits *device) {
    std::string reason;
    if (typed.seed && !value_parse_number(*typed.seed, &device->seed, &reason)) {
        reader.wrong("--seed", reason);
    }
    for (const std::string &text : typed.flips) {
        if (!value_parse_flips(text, &device->flips, &reason)) {
            reader.wrong("--flip", reason);
        }
    }
    if (typed.flip_rate &&
        !value_parse_fraction(*typed.flip_rate, 0, 1, &device->flip_rate, &reason)) {
        reader.wrong("--flip-rate", reason);
    }
    for (const std::string &text : typed.misreads) {
        if (!value_parse_misreads(text, &device->misreads, &reason)) {
            reader.wrong("--misread", reason);
        }
    }
    for (const std::string &text : typed.read_errors) {
        if (!value_parse_ranges(text, &device->read_errors, &reason)) {
            reader.wrong("--read-error", reason);
        }
    }
    for (const std::string &text : typed.write_errors) {
        if (!value_parse_ranges(text, &device->write_errors, &reason)) {
            reader.wrong("--write-error", reason);
        }
    }
}

void read_speed(value_reader &reader, const typed_values &typed, throttle_traits *speed) {
    reader.rate("--write-rate", typed.write_rate, &speed->write_rate);
    reader.rate("--read-rate", typed.read_rate, &speed->read_rate);
    reader.latency("--write-latency-us", typed.write_latency, &speed->write_latency);
    reader.latency("--read-latency-us", typed.read_latency, &speed->read_latency);
    reader.size("--slow-after", typed.slow_after, &speed->slow_after);
    if (speed->slow_after && !typed.write_rate) {
        reader.wrong("--slow-after", "needs a --write-rate to fall from");
    }
    reader.rate("--stall-every", typed.stall_every, &speed->stall_every);
    reader.seconds("--stall-seconds", typed.stall_seconds, &speed->stall);
}

void read_life(value_reader &reader, const typed_values &typed, life_traits *life) {
    reader.size("--lock-after", typed.lock_after, &life->lock_after);
    reader.last_byte("--unplug-after-written", typed.unplug_written, &life->unplug_after_written);
    reader.last_byte("--unplug-after-read", typed.unplug_read, &life->unplug_after_read);
    if (typed.unplug_after) {
        std::string reason;
        double seconds = 0;
        if (!value_parse_fraction(*typed.unplug_after, 0, LONGEST_LIFE_S, &seconds, &reason)) {
            reader.wrong("--unplug-after", reason);
        }
        life->unplug_after = std::chrono::duration_cast<std::chrono::nanoseconds>(
            std::chrono::duration<double>(seconds));
    }
    if (typed.unplug_at == "list") {
        life->unplug_at = life_moment::list;
    } else if (typed.unplug_at == "remove") {
        life->unplug_at = life_moment::remove;
    } else if (typed.unplug_at) {
        reader.wrong("--unplug-at", "'" + *typed.unplug_at + "' is neither list nor remove");
    }
    if (typed.unplug_error) {
        if (*typed.unplug_error == "ENODEV") {
            life->unplug_error = ENODEV;
        } else if (*typed.unplug_error == "EIO") {
            life->unplug_error = EIO;
        } else {
            reader.wrong("--unplug-error",
                         "'" + *typed.unplug_error + "' is neither ENODEV nor EIO");
        }
    }
}

}  // namespace

arguments_verdict arguments_parse(const std::vector<std::string> &words, card_options *options,
                                  std::string *error) {
    // --help wins over all other words.
    for (const std::string &word : words) {
        if (word == "--help" || word == "-h") {
            return arguments_verdict::help;
        }
    }
    typed_values typed;
    CLI::App app;
    declare_options(app, typed, *options);
    try {
        std::vector<std::string> from_the_back(words.rbegin(), words.rend());
        app.parse(std::move(from_the_back));  // CLI11 takes them in reverse order
    } catch (const CLI::ParseError &problem) {
        *error = problem.what();
        return arguments_verdict::wrong;
    }
    value_reader reader(error);
    read_sizes(reader, typed, options);
    read_faults(reader, typed, &options->device);
    read_speed(reader, typed, &options->speed);
    read_life(reader, typed, &options->life);
    check_image(reader, typed, *options);
    return reader.sound() ? arguments_verdict::run : arguments_verdict::wrong;
}

std::vector<std::string> arguments_known() {
    typed_values typed;
    card_options options;
    CLI::App app;
    declare_options(app, typed, options);
    std::vector<std::string> names = {"--help"};
    for (const CLI::Option *option : app.get_options()) {
        if (!option->get_positional()) {
            names.push_back(option->get_name());
        }
    }
    return names;
}

}  // namespace cardsim
