// SPDX-License-Identifier: GPL-3.0-or-later
// The columns in which a real file system lies between the card and the program. It
// decides which sector is hit, and may answer damage with an error or stop altogether:
// then the card is never called intact, and the counts are those of the kept files.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <map>
#include <optional>

#include "behaviours.h"
#include "cell_table.h"
#include "device.h"

using namespace system_tests;

static std::uint64_t free_bytes(const volume &where) {
    struct statvfs facts = {};
    EXPECT_EQ(statvfs(where.path().c_str(), &facts), 0);
    return std::uint64_t{facts.f_bfree} * facts.f_frsize;
}

// Bytes stay free; as many as a hundred files must not be possible.
static void use_up_files(const volume &where) {
    int made = 0;
    while (made < 100 && std::ofstream(where.file("photo" + std::to_string(made))).is_open())
        ++made;
    EXPECT_LT(made, 100);
    EXPECT_GT(free_bytes(where), device_bytes / 2);
}

namespace {

using cell = std::tuple<file_system, behaviour>;

// A user's file that takes half of the free space and ends inside a block.
class half_of_the_space {
 public:
    explicit half_of_the_space(const volume &where)
        : m_path(where.file("film")), m_bytes(free_bytes(where) / 2 / kib * kib + 300, 'x') {
        std::ofstream(m_path, std::ios::binary) << m_bytes;
        expect_untouched();
    }
    void expect_untouched() const { EXPECT_TRUE(read_bytes(m_path, false) == m_bytes) << m_path; }

 private:
    std::string m_path;
    std::string m_bytes;
};

class on_a_file_system : public testing::TestWithParam<cell> {
 protected:
    const file_system &kind() const { return std::get<0>(GetParam()); }
    const behaviour &row() const { return std::get<1>(GetParam()); }
    const deadline &until() const { return m_until; }

    void note(const std::string &what) { m_cell.note(what); }
    cli_result run_to_its_end(card &medium, const volume &where) const;
    std::string judge(const cli_result &run, const volume &where, const loop_device &device) const;
    std::string compare_at_rest(const volume &where, const loop_device &device) const;

 private:
    const deadline m_until{device_cell_limit};
    table_cell m_cell{row().words, kind().name};
};

}  // namespace

cli_result on_a_file_system::run_to_its_end(card &medium, const volume &where) const {
    const report_file report;
    std::vector<std::string> words = cli_command({"test", where.path(), report.option()});
    if (row().image != promise::after_report)
        words.emplace_back("--keep-files");
    child_process program(words, until().options());
    if (const std::string text = row().kill_after; !text.empty()) {
        EXPECT_TRUE(program.wait_for_output(text, until().left())) << "not said: " << text;
        medium.die();
    }
    cli_result result{program.wait(), nullptr};
    result.json = report.read();
    EXPECT_FALSE(result.timed_out) << "trovik-cli did not come to its end";
    return result;
}

static bool any_read_to_end(const nlohmann::json &report) {
    const auto &files = report.at("files");
    return std::any_of(files.begin(), files.end(), [](const auto &file) {
        return file.at("read_to_end").template get<bool>();
    });
}

static std::uint64_t bad_sectors(const nlohmann::json &report) {
    const sector_tally all = tally_of(report);
    return all.corrupted + all.changed + all.overwritten;
}

// The report names a fault of the read data, or the run stopped early. Unused free space does not
// count.
static bool fault_is_named(const cli_result &run) {
    return bad_sectors(run.json) != 0 || run.json.at("fatal").is_object() ||
           run.json.at("read").at("files_stopped") != 0 ||
           run.json.at("missing_files").at("count") != 0;
}

// How much is free before and after, by the file system's own account, decides whether a
// sound card could be tested as a whole.
static void expect_intact(const cli_result &run, std::uint64_t before, std::uint64_t after) {
    const auto &write = run.json.at("write");
    const bool filled = after * 100 < before;
    EXPECT_EQ(write.at("free_bytes_at_start"), before);
    EXPECT_EQ(write.at("free_bytes_at_end"), after);
    EXPECT_EQ(run.json.at("verdict"), filled ? "intact" : "incomplete");
    EXPECT_EQ(run.json.at("reasons").size(), filled ? 0U : 1U) << run.json.at("reasons");
    EXPECT_EQ(bad_sectors(run.json), 0U);
    EXPECT_EQ(run.json.at("read").at("bytes"), write.at("bytes"));
    EXPECT_GT(write.at("bytes"), before / 5 * 3);
}

static void expect_nothing_tested(const cli_result &run) {
    EXPECT_EQ(run.json.at("verdict"), "nothing_tested");
    EXPECT_TRUE(run.json.at("fatal").is_null()) << run.json.at("fatal");
    EXPECT_EQ(run.json.at("write").at("bytes"), 0U);
    EXPECT_EQ(run.json.at("write").at("end"), "full_at_file");
    EXPECT_NE(run.out.find("ERR: No space left device."), std::string::npos) << run.out;
}

static void expect_never_intact(const cli_result &run) {
    EXPECT_NE(run.json.at("verdict"), "intact");
    EXPECT_TRUE(fault_is_named(run)) << run.json.at("reasons") << run.out << run.err;
    EXPECT_EQ(run.json.at("verdict") == "data_lost", bad_sectors(run.json) != 0);
}

// All was read before the card went: no sector may be reproached to it.
static void expect_report_stands(const cli_result &run) {
    EXPECT_EQ(run.json.at("report").at("volume_intact"), "YES");
    EXPECT_EQ(bad_sectors(run.json), 0U);
}

// A run that the engine ends says why, with its own status or by abort.
static void expect_last_words(const cli_result &run) {
    const auto &fatal = run.json.at("fatal");
    const bool aborted = fatal.at("exit_status").is_null();
    EXPECT_EQ(run.signal_number, aborted ? SIGABRT : 0);
    EXPECT_EQ(run.exit_status, aborted ? -1 : fatal.at("exit_status").get<int>());
    EXPECT_NE(run.exit_status, 0);
    const std::vector<std::string> said = lines_of(run.err);
    ASSERT_FALSE(said.empty());
    EXPECT_EQ(said.back(), fatal.at("message"));
}

// The status is the verdict's, unless the engine had to end the run.
static void expect_status(const cli_result &run) {
    if (run.json.at("fatal").is_object()) {
        expect_last_words(run);
        return;
    }
    static const std::map<std::string, int> statuses = {
        {"intact", 0}, {"data_lost", 65}, {"incomplete", 74}, {"nothing_tested", 74}};
    EXPECT_EQ(run.signal_number, 0);
    EXPECT_EQ(run.exit_status, statuses.at(run.json.at("verdict"))) << run.out << run.err;
    expect_whole_report(run.json, run.out);
}

// A stopped run names its test files; where the volume still answers, these are there.
static void expect_left_named(const cli_result &run, const volume &where) {
    EXPECT_NE(run.err.find("left on '" + where.path() + "'"), std::string::npos) << run.err;
    const auto left = listed_files(where);
    if (!left)
        return;
    EXPECT_EQ(run.err.find("no test files are left") != std::string::npos, left->empty())
        << run.err;
    for (const int number : *left)
        EXPECT_NE(run.err.find(": " + std::to_string(number) + ".fff;"), std::string::npos)
            << run.err;
}

static bool all_can_be_flushed(const volume &where, const judged_files &files) {
    return std::all_of(files.begin(), files.end(), [&where](const auto &file) {
        const std::string path = where.file(std::to_string(file.first) + ".fff");
        const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        const bool flushed = fd >= 0 && fdatasync(fd) == 0;
        close(fd);
        return flushed;
    });
}

// What is written later can land on the files or on the file system's folders: read again
// when all has come to rest, with nothing written in between. Says how that went.
std::string on_a_file_system::compare_at_rest(const volume &where,
                                              const loop_device &device) const {
    for (int attempt = 0; attempt < 3; ++attempt) {
        settle(where, device);
        const auto before = judge_kept_files(where, device);
        const cli_result again = run_cli_with_report({"read", where.path()}, until().options());
        EXPECT_TRUE(again.json.is_object()) << again.err;
        if (!again.json.is_object())
            return "";
        expect_never_intact(again);
        expect_status(again);
        const auto after = judge_kept_files(where, device);
        if (before != after)
            continue;
        if (!after) {
            // They cannot be compared, so the program must not claim to have read them to the end.
            EXPECT_FALSE(any_read_to_end(again.json)) << again.out << again.err;
            return ", files lost";
        }
        if (again.json.at("report").is_null()) {
            EXPECT_FALSE(all_can_be_flushed(where, *after)) << again.err;
            return ", then stopped";
        }
        expect_counts_of(again.json, after, lost_by_error(kind()));
        return "";
    }
    ADD_FAILURE() << "the kept files do not come to rest";
    return "";
}

std::string on_a_file_system::judge(const cli_result &run, const volume &where,
                                    const loop_device &device) const {
    const auto &report = run.json;
    expect_status(run);
    if (row().image == promise::after_report)
        expect_report_stands(run);
    else if (row().image == promise::nothing_tested)
        expect_nothing_tested(run);
    else if (row().image != promise::intact)
        expect_never_intact(run);
    if (report.at("fatal").is_object())
        expect_left_named(run, where);
    if (row().image == promise::gone || row().image == promise::after_report ||
        report.at("report").is_null())
        return "";
    if (row().writing_damages)
        return compare_at_rest(where, device);
    expect_counts_of(report, judge_kept_files(where, device), lost_by_error(kind()));
    return "";
}

TEST_P(on_a_file_system, bad_card_is_never_intact) {
    SKIP_IF_MISSING(missing_for(kind()));
    if (row().prepared == preparation::no_more_files && !kind().has_few_files)
        GTEST_SKIP() << kind().name << " itself decides how many files it takes";
    const formatted_image image(kind(), until());
    if (HasFailure())
        return;
    std::vector<std::string> options = {"--image", "--size=" + std::to_string(device_bytes),
                                        "--contents=" + image.path()};
    for (const std::string &option : row().image_options(image.data()))
        options.push_back(option);
    card medium(options);
    const watchdog guard(medium, until());
    const loop_device device(medium.file("card.img"));
    const mounted_file_system where(kind(), device);
    if (!where.is_mounted()) {
        // Nothing was run, so nothing was shown; a sound card must not be refused.
        ASSERT_NE(row().image, promise::intact) << where.refusal();
        GTEST_SKIP() << kind().name << " itself refuses this card: " << where.refusal();
    }
    std::optional<half_of_the_space> film;
    if (row().prepared == preparation::half_full)
        film.emplace(where);
    if (row().prepared == preparation::no_more_files)
        use_up_files(where);
    if (row().prepared != preparation::none)
        settle(where, device);  // only then is the free space final; a bad card is left alone
    const std::uint64_t before = free_bytes(where);
    const cli_result run = run_to_its_end(medium, where);
    note(table_words(run));
    ASSERT_TRUE(run.json.is_object()) << "no JSON report\n" << run.out << run.err;
    if (row().image == promise::intact)
        expect_intact(run, before, free_bytes(where));
    if (film)
        film->expect_untouched();
    note(table_words(run) + judge(run, where, device));
}

INSTANTIATE_TEST_SUITE_P(image, on_a_file_system,
                         testing::Combine(testing::ValuesIn(file_systems()),
                                          testing::ValuesIn(device_behaviours())),
                         [](const auto &test) {
                             return std::string(std::get<0>(test.param).name) + "_" +
                                    std::get<1>(test.param).name;
                         });
