// The columns in which a real file system lies between the card and the program. It
// decides which sector is hit, and may answer damage with an error or stop altogether:
// then the card is never called intact, and what is counted is what the kept files hold.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "behaviours.h"
#include "cell_table.h"
#include "device.h"

using namespace system_tests;

namespace {

using cell = std::tuple<file_system, behaviour>;

class on_a_file_system : public testing::TestWithParam<cell> {
 protected:
    const file_system &kind() const { return std::get<0>(GetParam()); }
    const behaviour &row() const { return std::get<1>(GetParam()); }
    const deadline &until() const { return m_until; }

    void note(const std::string &what) const { table_note(row().words, kind().name, what); }
    cli_result run_to_its_end(card &medium, const volume &where) const;
    void judge(const cli_result &run, const volume &where, const loop_device &device) const;

 private:
    const deadline m_until{device_cell_limit};
};

}  // namespace

cli_result on_a_file_system::run_to_its_end(card &medium, const volume &where) const {
    const report_file report;
    std::vector<std::string> words = {TROVIK_CLI_PROGRAM, "test", where.path(), report.option()};
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

static std::uint64_t bad_sectors(const nlohmann::json &report) {
    const sector_tally all = tally_of(report);
    return all.corrupted + all.changed + all.overwritten;
}

// Something is said to be wrong with what was read, or the run could not go on; that a
// part of the free space was not used is not meant.
static bool fault_is_named(const cli_result &run) {
    return bad_sectors(run.json) != 0 || run.json.at("fatal").is_object() ||
           run.json.at("read").at("files_stopped") != 0 ||
           run.json.at("missing_files").at("count") != 0;
}

static void expect_intact(const cli_result &run) {
    const auto &write = run.json.at("write");
    const std::uint64_t before = write.at("free_bytes_at_start");
    const std::uint64_t after = write.at("free_bytes_at_end");
    const bool filled = after * 100 < before;
    EXPECT_EQ(run.json.at("verdict"), filled ? "intact" : "incomplete");
    EXPECT_EQ(run.exit_status, filled ? 0 : 74) << run.out << run.err;
    EXPECT_EQ(run.json.at("reasons").size(), filled ? 0U : 1U) << run.json.at("reasons");
    EXPECT_EQ(bad_sectors(run.json), 0U);
    EXPECT_EQ(run.json.at("read").at("bytes"), write.at("bytes"));
    EXPECT_GT(write.at("bytes"), device_bytes / 2);
}

static void expect_never_intact(const cli_result &run) {
    EXPECT_NE(run.exit_status, 0) << run.out << run.err;
    EXPECT_NE(run.json.at("verdict"), "intact");
    EXPECT_TRUE(fault_is_named(run)) << run.json.at("reasons") << run.out << run.err;
    EXPECT_EQ(run.json.at("verdict") == "data_lost", bad_sectors(run.json) != 0);
}

// All was read before the card went: no sector may be reproached to it.
static void expect_report_stands(const cli_result &run) {
    EXPECT_EQ(run.json.at("report").at("volume_intact"), "YES");
    EXPECT_EQ(bad_sectors(run.json), 0U);
}

void on_a_file_system::judge(const cli_result &run, const volume &where,
                             const loop_device &device) const {
    ASSERT_TRUE(run.json.is_object()) << "no JSON report\n" << run.out << run.err;
    if (row().image == promise::intact)
        expect_intact(run);
    else if (row().image == promise::after_report)
        expect_report_stands(run);
    else
        expect_never_intact(run);
    if (run.json.at("report").is_object())
        expect_whole_report(run.json, run.out);
    else
        EXPECT_TRUE(run.json.at("fatal").is_object());
    if (row().image == promise::gone || row().image == promise::after_report ||
        run.json.at("report").is_null())
        return;
    if (row().writing_damages) {
        // The file system's own tables still followed, on top of the files or of its
        // folders: look again, and compare where all has come to rest.
        settle(where, device);
        const auto before = judge_kept_files(where, device);
        const cli_result again = run_cli_with_report({"read", where.path()}, until().options());
        expect_never_intact(again);
        const auto kept = judge_kept_files(where, device);
        if (kept && kept == before && again.json.at("files").size() == kept->size())
            expect_counts_of(again.json, kept);
        return;
    }
    expect_counts_of(run.json, judge_kept_files(where, device));
}

TEST_P(on_a_file_system, a_bad_card_is_never_called_intact) {
    SKIP_IF_MISSING(missing_for(kind()));
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
        note("skipped");
        ASSERT_NE(row().image, promise::intact) << where.refusal();
        GTEST_SKIP() << kind().name << " itself refuses this card: " << where.refusal();
    }
    const cli_result run = run_to_its_end(medium, where);
    note(table_words(run));
    judge(run, where, device);
}

INSTANTIATE_TEST_SUITE_P(image, on_a_file_system,
                         testing::Combine(testing::ValuesIn(file_systems()),
                                          testing::ValuesIn(device_behaviours())),
                         [](const auto &test) {
                             return std::string(std::get<0>(test.param).name) + "_" +
                                    std::get<1>(test.param).name;
                         });
