// SPDX-License-Identifier: GPL-3.0-or-later
#include "behaviours.h"

#include <cerrno>
#include <csignal>
#include <set>

namespace system_tests {

namespace {

using words = std::vector<std::string>;

constexpr std::uint64_t sectors_per_mib = mib / oracle_sector_bytes;
constexpr std::uint64_t all_sectors = 8 * sectors_per_mib;
constexpr std::uint64_t image_mib = 32;

const char *const write_failed = "Write to file ";
const char *const size_check = "Assertion failed: (written == fw->block_size)";
const char *const read_check = "Assertion failed: (*read_all || errno == EIO)";
const char *const flush_check = "Assertion failed: (!fdatasync(fd))";
const char *const read_warning = "ERR: WARNING: Not all data was read due to I/O error(s)";
const char *const left_named = "test files left on ";
const char *const nothing_free = "ERR: No space left on device!";
const char *const no_new_file = "ERR: No space left device.";
const char *const intact_line = "DATA Lost .................. : 0.000000 Byte";

folder_outcome lost(sector_tally bad) {
    folder_outcome result{.verdict = "data_lost", .exit_status = 65, .counts = bad};
    result.counts.ok = all_sectors - bad.corrupted - bad.changed - bad.overwritten;
    result.lines = {"Volume intact .............. : NO"};
    return result;
}

folder_outcome whole() {
    return {
        .counts = {.ok = all_sectors},
        .lines = {"Volume intact .............. : YES", intact_line, "Removing old file number 1"}};
}

// The run ends by itself with the engine's condition, in the middle of writing.
folder_outcome aborted(std::uint64_t bytes, words lines) {
    lines.emplace_back(left_named);
    return {.verdict = "nothing_tested",
            .signal_number = SIGABRT,
            .bytes_written = bytes,
            .lines = std::move(lines),
            .files_left = {1}};
}

folder_outcome incomplete(std::uint64_t ok, words lines) {
    return {.verdict = ok == 0 ? "nothing_tested" : "incomplete",
            .exit_status = 74,
            .counts = {.ok = ok},
            .lines = std::move(lines)};
}

folder_outcome nothing_written(const char *line) {
    folder_outcome result = incomplete(0, {line});
    result.bytes_written = 0;
    return result;
}

folder_outcome with_bytes(folder_outcome result, std::uint64_t bytes) {
    result.bytes_written = bytes;
    return result;
}

// The files are out of reach; the run names them.
folder_outcome gone(folder_outcome result, words lines) {
    result.lines.insert(result.lines.end(), lines.begin(), lines.end());
    result.files_left = {};
    result.gone = true;
    return result;
}

// One bit in each of this many body words; the word says which, so that low and high
// halves are both met.
std::string flips(std::uint64_t sector, unsigned count) {
    std::string list;
    for (unsigned word = 63; word > 63 - count; --word)
        list += (list.empty() ? "" : ",") + std::to_string(sector) + ":" +
                std::to_string(word * 64 + (word * 7) % 64);
    return "--flip=" + list;
}

// Eight sectors spread over the test data: some of them hold it again, whatever else
// the file system puts elsewhere this time.
data_sectors spread(const data_sectors &data) {
    data_sectors chosen;
    for (std::uint64_t i = 1; i <= 8; ++i)
        chosen.push_back(data.at(data.size() * i / 9));
    return chosen;
}

// 1 MiB of it from the beginning (0) to the end (1): the same single sector need not
// hold test data when a file system is filled once more.
data_sectors stretch(const data_sectors &data, double place) {
    const auto first =
        static_cast<std::ptrdiff_t>(place * static_cast<double>(data.size() - sectors_per_mib));
    const auto from = data.begin() + first;
    return {from, from + static_cast<std::ptrdiff_t>(sectors_per_mib)};
}

std::string list(const char *option, const data_sectors &sectors) {
    std::string text = option;
    for (const std::uint64_t sector : sectors)
        text += (text.back() == '=' ? "" : ",") + std::to_string(sector);
    return text;
}

std::string bytes_option(const char *option, std::uint64_t bytes) {
    return option + std::to_string(bytes);
}

// On the device everything is four times as large as in the folder.
behaviour counterfeit(const char *name, const char *row, const char *folder_kind,
                      const char *image_kind, sector_tally bad) {
    return {.name = name,
            .words = row,
            .options = {"--real-size=5M", std::string("--beyond=") + folder_kind},
            .folder = lost(bad),
            .image_options =
                [image_kind](const data_sectors &) {
                    return words{"--real-size=20M", std::string("--beyond=") + image_kind};
                },
            .writing_damages = std::string(image_kind).starts_with("wrap")};
}

behaviour changed_words(const char *name, const char *row, unsigned count) {
    const sector_tally bad = count < 3 ? sector_tally{.changed = 1} : sector_tally{.corrupted = 1};
    return {.name = name,
            .words = row,
            .options = {flips(9999, count)},
            .folder = lost(bad),
            .image_options = [count](const data_sectors &data) {
                words options;
                for (const std::uint64_t sector : spread(data))
                    options.push_back(flips(sector, count));
                return options;
            }};
}

behaviour read_error(const char *name, const char *row, std::uint64_t sector, double place) {
    return {.name = name,
            .words = row,
            .options = {"--read-error=" + std::to_string(sector)},
            .folder = incomplete(sector, {read_warning}),
            .image_options = [place](const data_sectors &data) {
                return words{list("--read-error=", stretch(data, place))};
            }};
}

// A fault that only a file system can have: a device does not report free space,
// and real file systems have their own limits. 1 GiB is for the folder, too.
behaviour folder_only(const char *name, const char *row, words options, folder_outcome outcome) {
    return {.name = name,
            .words = row,
            .options = std::move(options),
            .folder = std::move(outcome),
            .image = promise::none};
}

std::vector<behaviour> lost_data_rows() {
    constexpr std::uint64_t past = 3 * sectors_per_mib;
    return {
        counterfeit("wraps_to_its_start", "wrap to start", "wrap", "wrap", {.overwritten = past}),
        counterfeit("wraps_within_its_last_region", "wrap within the last region", "wrap-last=1M",
                    "wrap-last=4M", {.overwritten = past}),
        counterfeit("drops_to_00", "drop to 0x00", "drop-00", "drop-00", {.corrupted = past}),
        counterfeit("drops_to_ff", "drop to 0xFF", "drop-ff", "drop-ff", {.corrupted = past}),
        counterfeit("answers_garbage", "garbage", "garbage", "garbage", {.corrupted = past}),
        changed_words("changes_one_word", "1 word changed", 1),
        changed_words("changes_two_words", "2 words changed", 2),
        changed_words("changes_three_words", "3 words changed", 3),
        changed_words("changes_all_words", "63 words changed", 63),
        {.name = "moves_a_sector",
         .words = "a whole sector moved",
         .options = {"--misread=5000:6000"},
         .folder = lost({.overwritten = 1}),
         .image_options =
             [](const data_sectors &data) {
                 const data_sectors chosen = spread(data);
                 words options;
                 for (size_t i = 0; i < chosen.size(); ++i)
                     options.push_back("--misread=" + std::to_string(chosen[i]) + ":" +
                                       std::to_string(chosen[(i + 3) % chosen.size()]));
                 return options;
             }},
        // The folder: 1.fff has the first 4 MiB, 5.fff the second.
        {.name = "gives_a_sector_of_4_gib_away",
         .words = "a sector of a file 4 GiB away",
         .options = {"--misread=8292:100"},
         .folder = lost({.overwritten = 1}),
         .image = promise::none,
         .how = procedure::four_gib_away},
    };
}

std::vector<behaviour> failing_rows() {
    return {
        read_error("cannot_read_its_first_sector", "read error, first sector", 0, 0.0),
        read_error("cannot_read_a_sector_in_the_middle", "read error, in the middle", 8003, 0.5),
        read_error("cannot_read_its_last_sector", "read error, last sector", all_sectors - 1, 1.0),
        {.name = "cannot_write_a_sector",
         .words = "write error",
         .options = {"--write-error=8000"},
         .folder = aborted(8000 * oracle_sector_bytes, {write_failed, size_check}),
         .image_options =
             [](const data_sectors &data) { return words{list("--write-error=", spread(data))}; }},
        {.name = "cannot_flush",
         .words = "fsync error",
         .options = {"--fsync-fails"},
         .folder = aborted(1024, {flush_check}),
         .image_options = [](const data_sectors &) { return words{"--fsync-fails"}; }},
        folder_only("does_not_tell_its_free_space", "statfs fails", {"--statfs-fails"},
                    nothing_written(nothing_free)),
        folder_only("tells_too_little_free_space", "statfs low", {"--statfs-free=1M"},
                    incomplete(all_sectors, {"1.0 MB", "could not be filled"})),
        folder_only("tells_too_much_free_space", "statfs high", {"--statfs-free=16M"},
                    incomplete(all_sectors, {"16.0 MB", "could not be filled"})),
        {.name = "is_full_in_the_middle",
         .words = "ENOSPC in the middle",
         .options = {"--full-at=4M"},
         .folder = with_bytes(incomplete(all_sectors / 2, {"could not be filled"}), 4 * mib),
         .image = promise::intact,
         .image_options = [](const data_sectors &) { return words{}; },
         .prepared = preparation::half_full},
        folder_only("is_full_inside_a_block", "ENOSPC inside a block",
                    {"--full-at=" + std::to_string(4 * mib + oracle_sector_bytes)},
                    aborted(4 * mib, {size_check})),
        {.name = "takes_no_new_file",
         .words = "ENOSPC at creation",
         .options = {"--root-entries=0"},
         .folder = nothing_written(no_new_file),
         .image = promise::nothing_tested,
         .image_options = [](const data_sectors &) { return words{}; },
         .prepared = preparation::no_more_files},
    };
}

std::vector<behaviour> leaving_rows() {
    const auto half = [](const data_sectors &data) {
        return data.size() / 2 * oracle_sector_bytes;
    };
    return {
        {.name = "locks_itself_half_way",
         .words = "locked half-way",
         .options = {"--lock-after=4M"},
         .folder = aborted(4 * mib, {write_failed, size_check}),
         .image_options =
             [half](const data_sectors &data) {
                 return words{bytes_option("--lock-after=", half(data))};
             }},
        {.name = "is_unplugged_while_writing",
         .words = "unplugged while writing",
         .options = {"--unplug-after-written=4M"},
         .folder = gone(aborted(4 * mib, {write_failed, size_check}), {}),
         .image = promise::gone,
         .image_options =
             [half](const data_sectors &data) {
                 return words{bytes_option("--unplug-after-written=", half(data))};
             }},
        {.name = "is_unplugged_while_listing",
         .words = "unplugged while listing",
         .options = {"--unplug-at=list"},
         .folder = gone({.verdict = "nothing_tested", .exit_status = ENODEV},
                        {"Can't open path ", left_named}),
         .image = promise::gone,
         .image_options = [](const data_sectors &) { return words{"--read-rate=2M"}; },
         .kill_after = "Test file written."},
        {.name = "is_unplugged_while_reading",
         .words = "unplugged while reading",
         .options = {"--unplug-after-read=4M"},
         .folder = gone({.verdict = "nothing_tested", .signal_number = SIGABRT},
                        {read_check, left_named}),
         .image = promise::gone,
         .image_options =
             [half](const data_sectors &data) {
                 return words{bytes_option("--unplug-after-read=", half(data))};
             }},
        {.name = "is_unplugged_while_cleaning",
         .words = "unplugged while cleaning",
         .options = {"--unplug-at=remove"},
         .folder = gone({.exit_status = ENODEV, .counts = {.ok = all_sectors}},
                        {intact_line, "ERR: Can't remove file ", left_named}),
         .image = promise::after_report,
         .image_options = [](const data_sectors &) { return words{}; },
         .kill_after = "Report Begin"},
    };
}

std::vector<behaviour> sound_rows() {
    return {
        {.name = "is_sound",
         .words = "intact",
         .options = {},
         .folder = whole(),
         .image = promise::intact,
         .image_options = [](const data_sectors &) { return words{}; }},
        {.name = "slows_to_a_hundredth",
         .words = "rate falls to a hundredth",
         .options = {"--write-rate=32M", "--slow-after=7800K"},
         .folder = whole(),
         .image = promise::intact,
         .image_options =
             [](const data_sectors &data) {
                 return words{
                     "--write-rate=32M",
                     bytes_option("--slow-after=", data.size() * oracle_sector_bytes - mib)};
             }},
    };
}

}  // namespace

static void append(std::vector<behaviour> &rows, std::vector<behaviour> more) {
    rows.insert(rows.end(), std::make_move_iterator(more.begin()),
                std::make_move_iterator(more.end()));
}

// In every check by way of other tests.
static bool is_shown_elsewhere(const behaviour &row) {
    static const std::set<std::string> names = {"drops_to_ff",
                                                "changes_one_word",
                                                "changes_two_words",
                                                "changes_all_words",
                                                "cannot_read_its_first_sector",
                                                "cannot_read_its_last_sector",
                                                "tells_too_little_free_space",
                                                "tells_too_much_free_space",
                                                "is_full_inside_a_block"};
    return names.contains(row.name);
}

static std::vector<behaviour> short_behaviours() {
    std::vector<behaviour> rows = sound_rows();
    append(rows, lost_data_rows());
    append(rows, failing_rows());
    append(rows, leaving_rows());
    return rows;
}

std::vector<behaviour> quick_behaviours() {
    std::vector<behaviour> rows = short_behaviours();
    std::erase_if(rows, is_shown_elsewhere);
    return rows;
}

static std::vector<behaviour> long_behaviours() {
    constexpr std::uint64_t file_sectors = oracle_file_bytes / oracle_sector_bytes;
    folder_outcome boundary = whole();
    boundary.counts.ok = file_sectors;
    boundary.bytes_written = oracle_file_bytes;
    folder_outcome boundary_at_creation = boundary;
    boundary_at_creation.lines.emplace_back("ERR: No space left device.");
    boundary.lines.emplace_back("Creating test file number 2 ...");
    std::vector<behaviour> rows = {
        {.name = "stalls_for_ten_seconds",
         .words = "stalls of 10 s",
         .options = {"--stall-every=6M"},
         .folder = whole(),
         .image = promise::intact,
         .image_options =
             [](const data_sectors &data) {
                 return words{
                     bytes_option("--stall-every=", data.size() * oracle_sector_bytes / 4 * 3)};
             }},
        folder_only("is_full_at_a_file_boundary", "ENOSPC at a file boundary", {"--size=1G"},
                    boundary),
        folder_only("takes_no_second_file", "ENOSPC at the second creation",
                    {"--size=1025M", "--full-at=1G", "--root-entries=1"}, boundary_at_creation),
    };
    // A file is 1 GiB, which takes a minute in pieces of 1 KiB.
    for (behaviour &row : rows) {
        if (row.folder.bytes_written == oracle_file_bytes)
            row.command_options = {"--block-size=1M"};
    }
    return rows;
}

std::vector<behaviour> slow_behaviours() {
    std::vector<behaviour> rows = short_behaviours();
    std::erase_if(rows, [](const behaviour &row) { return !is_shown_elsewhere(row); });
    append(rows, long_behaviours());
    return rows;
}

static std::vector<behaviour> all_behaviours() {
    std::vector<behaviour> rows = short_behaviours();
    append(rows, long_behaviours());
    return rows;
}

std::vector<std::string> table_rows() {
    words rows;
    for (const behaviour &row : all_behaviours())
        rows.emplace_back(row.words);
    return rows;
}

std::vector<behaviour> device_behaviours() {
    std::vector<behaviour> rows = all_behaviours();
    std::erase_if(rows, [](const behaviour &row) { return row.image == promise::none; });
    return rows;
}

}  // namespace system_tests
