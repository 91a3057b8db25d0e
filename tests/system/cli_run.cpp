// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli_run.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace system_tests {

using nlohmann::json;

std::vector<std::string> cli_command(std::vector<std::string> words) {
    if (!words.empty() && (words[0] == "test" || words[0] == "read"))
        words.insert(words.begin() + 1, "--medium-is-memory");
    words.insert(words.begin(), TROVIK_CLI_PROGRAM);
    return words;
}

process_result run_cli(std::vector<std::string> words, process_options options) {
    process_result result = run_program(cli_command(std::move(words)), std::move(options));
    EXPECT_FALSE(result.timed_out) << "trovik-cli did not come to its end";
    return result;
}

json report_file::read() const {
    std::ifstream stream(path());
    std::stringstream text;
    text << stream.rdbuf();
    if (text.str().empty())
        return nullptr;
    json document = json::parse(text.str(), nullptr, false);
    EXPECT_FALSE(document.is_discarded()) << text.str();
    return document;
}

cli_result run_cli_with_report(std::vector<std::string> words, process_options options) {
    const report_file report;
    words.push_back(report.option());
    cli_result result{run_cli(std::move(words), std::move(options)), nullptr};
    result.json = report.read();
    return result;
}

static sector_tally tally_in(const json &counts) {
    return {counts.at("ok"), counts.at("corrupted"), counts.at("changed"),
            counts.at("overwritten")};
}

sector_tally tally_of(const json &report) {
    return tally_in(report.at("read").at("sectors"));
}

sector_tally tally_of_file(const json &report, int number) {
    for (const json &file : report.at("files")) {
        if (file.at("number") == number)
            return tally_in(file.at("sectors"));
    }
    ADD_FAILURE() << "the report knows no test file " << number;
    return {};
}

bool any_contains(const json &list, const std::string &text) {
    for (const json &entry : list) {
        if (entry.get<std::string>().find(text) != std::string::npos)
            return true;
    }
    return false;
}

std::vector<std::string> lines_of(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

// Label and the report's value, as printed.
static std::vector<std::string> report_lines(const json &facts) {
    const auto value = [&](const char *name) { return facts.at(name).get<std::string>(); };
    return {" - **: Report Begin -----------------------------------------",
            " -  1: Volume intact .............. : " + value("volume_intact"),
            " -  2: Volume name................. : " + value("volume_name"),
            " -  3: Capacity (GB)............... : " + value("capacity_gb"),
            " -  4: Capacity (Bytes)............ : " + value("capacity_bytes"),
            " -  5: Write speed average ........ : " + value("write_speed_average"),
            " -  6: Read speed average ......... : " + value("read_speed_average"),
            " -  7: DATA OK .................... : " + value("data_ok"),
            " -  8: DATA Lost .................. : " + value("data_lost"),
            " -  9: DATA Corrupted ............. : " + value("data_corrupted"),
            " - 10: DATA Changed ............... : " + value("data_changed"),
            " - 11: DATA Overwritten ........... : " + value("data_overwritten"),
            " - 12: trovik version ............ : " + value("trovik_version"),
            " - **: Report End -----------------------------------------"};
}

static bool ends_with(const std::string &text, const std::string &end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// "%f unit" of the sectors, as the engine words it.
static std::string size_words(std::uint64_t sectors) {
    double value = static_cast<double>(sectors * oracle_sector_bytes);
    const std::vector<std::string> units = {"Byte", "KB", "MB", "GB", "TB"};
    size_t unit = 0;
    for (; value >= 1024 && unit + 1 < units.size(); ++unit)
        value /= 1024;
    return std::to_string(value) + " " + units[unit];
}

static void expect_numbers_agree(const json &report) {
    sector_tally sum;
    std::uint64_t bytes = 0;
    for (const json &file : report.at("files")) {
        sum += tally_in(file.at("sectors"));
        bytes += file.at("bytes_read").get<std::uint64_t>();
    }
    const sector_tally all = tally_of(report);
    EXPECT_EQ(all, sum);
    EXPECT_EQ(report.at("read").at("bytes"), bytes);
    const std::uint64_t bad = all.corrupted + all.changed + all.overwritten;
    const json &facts = report.at("report");
    EXPECT_EQ(facts.at("data_ok"), size_words(all.ok));
    EXPECT_EQ(facts.at("data_lost"), size_words(bad));
    EXPECT_EQ(facts.at("data_corrupted"), size_words(all.corrupted));
    EXPECT_EQ(facts.at("data_changed"), size_words(all.changed));
    EXPECT_EQ(facts.at("data_overwritten"), size_words(all.overwritten));
    EXPECT_EQ(report.at("read").at("sector_bytes").at("ok"), all.ok * oracle_sector_bytes);
    // The other way round other things may speak against it.
    if (bad != 0) {
        EXPECT_EQ(facts.at("volume_intact"), "NO");
    }
}

void expect_whole_report(const json &report, const std::string &text) {
    ASSERT_TRUE(report.is_object()) << "no JSON report";
    EXPECT_EQ(report.at("schema"), 1);
    ASSERT_TRUE(report.at("report").is_object()) << report.at("fatal");
    expect_numbers_agree(report);
    const std::vector<std::string> printed = lines_of(text);
    size_t at = 0;
    for (const std::string &line : report_lines(report.at("report"))) {
        while (at < printed.size() && !ends_with(printed[at], line))
            ++at;
        EXPECT_LT(at, printed.size()) << "not in its place: " << line << "\n" << text;
    }
}

void expect_oracle_agrees(const volume &where, const json &report) {
    ASSERT_TRUE(report.is_object()) << "no JSON report";
    const std::vector<int> numbers = where.test_files();
    EXPECT_EQ(report.at("files").size(), numbers.size());
    for (const int number : numbers) {
        const std::string path = where.file(std::to_string(number) + ".fff");
        EXPECT_EQ(tally_of_file(report, number), oracle_tally(oracle_judge_file(path, number)))
            << path;
    }
}

void expect_aborted_at(const cli_result &run, const std::string &condition) {
    const std::string words = "Assertion failed: (" + condition + ")";
    EXPECT_EQ(run.signal_number, SIGABRT) << "exit status " << run.exit_status;
    EXPECT_NE(run.err.find(words), std::string::npos) << run.err;
    ASSERT_TRUE(run.json.is_object()) << "no JSON report";
    ASSERT_TRUE(run.json.at("fatal").is_object()) << run.json;
    const std::string message = run.json.at("fatal").at("message");
    EXPECT_NE(message.find(words), std::string::npos) << message;
    EXPECT_TRUE(run.json.at("report").is_null());
}

std::string removal_command(const std::string &text) {
    static const std::string words = "remove them with: ";
    const size_t start = text.find(words);
    if (start == std::string::npos)
        return {};
    const std::string rest = text.substr(start + words.size());
    // A quoted line break is part of the command.
    bool quoted = false;
    size_t end = 0;
    for (; end < rest.size() && (quoted || rest[end] != '\n'); ++end)
        quoted = quoted != (rest[end] == '\'');
    return rest.substr(0, end);
}

process_result run_removal_command(const std::string &command) {
    const std::string folder = std::filesystem::path(TROVIK_CLI_PROGRAM).parent_path();
    process_options options;
    const char *path = std::getenv("PATH");
    options.environment = {"PATH=" + folder + ":" + (path == nullptr ? "" : path)};
    const bool bash = !find_program("bash").empty();
    return run_program({bash ? "bash" : "sh", "-c", command}, options);
}

}  // namespace system_tests
