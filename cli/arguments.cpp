// SPDX-License-Identifier: GPL-3.0-or-later
// CLI11 reads the arguments. The engine's parser of start numbers is lenient, so its result is
// compared with the text: a misread number would remove other files.
#include "cli/arguments.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>

#include "model/utils.h"
#include "report/printable.h"

const char *cli_command_name(cli_command command) {
    switch (command) {
        case cli_command::test:
            return "test";
        case cli_command::write:
            return "write";
        case cli_command::read:
            return "read";
        case cli_command::clean:
            return "clean";
        case cli_command::info:
            return "info";
    }
    return "";
}

std::string cli_version_text() {
    return TROVIK_SHORT_VERSION "-" TROVIK_BUNDLE_VERSION;
}

// Numbers of test files wrap after 2147483647, and a wrapped number cannot be found again. This
// limit leaves room for 147 million test files, 140 PB.
constexpr int start_number_max = 2'000'000'000;

// Empty for a start number, else the error.
static std::string check_start_number(const std::string &text) {
    const int index = parse_start_at(("--start-at=" + text).c_str());
    if (index >= 0 && index < start_number_max && std::to_string(index + 1) == text)
        return {};
    return "'" + text + "' is not the number of a first test file (1 to " +
           std::to_string(start_number_max) + ")";
}

// Bytes of "64K", "1M" or "1024"; 0 when the text is no block size.
static std::int32_t parse_block_size(const std::string &text) {
    const size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    const std::string unit = text.substr(digits);
    const bool is_plain = digits > 0 && digits <= 8 && text[0] != '0';
    if (!is_plain || (unit != "" && unit != "K" && unit != "M"))
        return 0;
    const std::int64_t factor = unit == "K" ? 1024 : unit == "M" ? 1048576 : 1;
    const std::int64_t bytes = std::stol(text.substr(0, digits)) * factor;
    const bool is_power_of_two = (bytes & (bytes - 1)) == 0;
    if (!is_power_of_two || bytes < F3WRITE_BLOCK_SIZE || bytes > F3WRITE_BLOCK_SIZE_MAX)
        return 0;
    return static_cast<std::int32_t>(bytes);
}

// Empty for a block size, else the error.
static std::string check_block_size(const std::string &text) {
    if (parse_block_size(text) != 0)
        return {};
    return "'" + text + "' is no block size (a power of two from 1K to 16M)";
}

namespace {

// Filled by CLI11, not yet checked.
struct raw_words {
    std::string start_at;
    std::string block_size;
    std::string json;
};

struct command_description {
    cli_command command;
    const char *description;
    bool has_start_at, has_block_size, has_keep_files, has_json, has_force, has_medium_is_memory;
};

}  // namespace

static const command_description commands[] = {
    {cli_command::test, "Fill the volume, read everything back, report, clean up", true, true, true,
     true, true, true},
    {cli_command::write, "Remove old test files and fill the volume with new ones", true, true,
     false, false, true, false},
    {cli_command::read, "Read the test files on the volume back and report", true, false, false,
     true, false, true},
    {cli_command::clean, "Remove the test files from the volume", true, false, false, false, true,
     false},
    {cli_command::info, "Show a volume's properties, or list the volumes that can be tested", false,
     false, false, false, false, false},
};

// Whether the command line can begin with this word. CLI11 alone would not name a wrong one.
static bool is_first_word(const std::string &word) {
    const auto is_named = [&](const auto &description) {
        return word == cli_command_name(description.command);
    };
    return word == "-h" || word == "--help" || word == "--version" ||
           std::any_of(std::begin(commands), std::end(commands), is_named);
}

// Empty for a path, else the error.
static std::string check_path(const std::string &text) {
    return text.empty() ? "the path is empty" : "";
}

static void add_command(CLI::App &app, const command_description &description,
                        cli_arguments &arguments, raw_words &raw) {
    CLI::App *command =
        app.add_subcommand(cli_command_name(description.command), description.description);
    command->callback([&arguments, &description] { arguments.command = description.command; });
    CLI::Option *volume =
        command->add_option("VOLUME", arguments.volume, "Root folder of the mounted volume")
            ->check(check_path);
    if (description.command != cli_command::info)
        volume->required();
    if (description.has_start_at)
        command
            ->add_option("--start-at", raw.start_at,
                         "Number of the first test file; lower ones are left alone")
            ->type_name("N")
            ->check(check_start_number);
    if (description.has_block_size)
        command
            ->add_option("--block-size", raw.block_size,
                         "Bytes per write, a power of two from 1K (the default) to 16M: how fast "
                         "the card takes larger writes")
            ->type_name("SIZE")
            ->check(check_block_size);
    if (description.has_keep_files)
        command
            ->add_flag("--keep-files", arguments.keep_files, "Leave the test files on the volume")
            ->disable_flag_override();
    if (description.has_json)
        command
            ->add_option("--json", raw.json,
                         "Write the report as JSON to FILE, or to standard output with -")
            ->type_name("FILE|-");
    if (description.has_force)
        command
            ->add_flag("--force", arguments.force,
                       "Go on although the folder is not the root of its own mount, or lies "
                       "on the system's own file system")
            ->disable_flag_override();
    if (description.has_medium_is_memory)
        command
            ->add_flag("--medium-is-memory", arguments.medium_is_memory,
                       "Take this file system's word that it keeps no other copy, as a simulated "
                       "card's")
            ->disable_flag_override();
}

// An option that ends with "=". CLI11 would take the next word for its value. After
// "--" there are no options.
static std::string option_without_value(int argc, const char *const *argv) {
    for (int i = 1; i < argc && std::string_view(argv[i]) != "--"; ++i) {
        const std::string_view word = argv[i];
        if (word.starts_with("--") && word.find('=') == word.size() - 1)
            return std::string(word.substr(0, word.size() - 1));
    }
    return {};
}

static bool refuse(const std::string &reason, int &exit_status) {
    std::fprintf(stderr, "trovik-cli: %s (see trovik-cli --help)\n",
                 printable_text(reason).c_str());
    exit_status = EXIT_STATUS_USAGE;
    return false;
}

bool cli_parse_arguments(int argc, const char *const *argv, cli_arguments &arguments,
                         int &exit_status) {
    CLI::App app(
        "Tests the capacity, integrity and speed of a mounted volume: fills its free "
        "space with test files (N.fff), reads them back, reports, removes them.",
        "trovik-cli");
    app.set_version_flag("--version", "trovik-cli " + cli_version_text());
    app.require_subcommand(1);
    app.footer(
        "Exit status: 0 all intact, 64 wrong usage, 65 data lost, 71 no thread to spare,\n74 not "
        "everything could be tested, 75 intact, but perhaps read from the computer's\nmemory, 77 "
        "refused before anything was changed.");
    raw_words raw;
    for (const command_description &description : commands)
        add_command(app, description, arguments, raw);
    if (argc > 1 && !is_first_word(argv[1]))
        return refuse("there is no command '" + std::string(argv[1]) + "'", exit_status);
    const std::string bare = option_without_value(argc, argv);
    if (!bare.empty())
        return refuse(bare + ": its '=' has no value", exit_status);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() != 0)
            return refuse(error.what(), exit_status);
        exit_status = app.exit(error);
        return false;
    }
    if (!raw.start_at.empty())
        arguments.start_index = parse_start_at(("--start-at=" + raw.start_at).c_str());
    if (!raw.block_size.empty())
        arguments.block_size = parse_block_size(raw.block_size);
    if (!raw.json.empty())
        arguments.json = raw.json;
    return true;
}
