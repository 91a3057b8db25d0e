// SPDX-License-Identifier: GPL-3.0-or-later
#include "report/report_json.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "example_run.h"
#include "report/printable.h"
#include "report/report_block.h"

using json = nlohmann::ordered_json;

static json parsed(const report_json_input &input) {
    return json::parse(report_json_text(input));
}

static report_json_input intact_document() {
    report_json_input input = counterfeit_document();
    input.run = intact_run();
    input.verdict = verdict_judge(input.run);
    return input;
}

TEST(report_json, is_one_object_with_final_line_break) {
    const std::string text = report_json_text(counterfeit_document());
    EXPECT_EQ(text.substr(0, 18), "{\n  \"schema\": 1,\n ");
    EXPECT_EQ(text.substr(text.size() - 3), "\n}\n");
}

TEST(report_json, has_run_and_verdict) {
    const json document = parsed(counterfeit_document());
    EXPECT_EQ(document["schema"], 1);
    EXPECT_EQ(document["program"], "trovik-cli");
    EXPECT_EQ(document["version"], "1.0.0-1");
    EXPECT_EQ(document["command"], "test");
    EXPECT_EQ(document["ended_at"], "2024-06-07T14:03:15Z");
    EXPECT_EQ(document["start_at"], 1);
    EXPECT_EQ(document["verdict"], "data_lost");
    EXPECT_EQ(document["exit_status"], 65);
    EXPECT_EQ(document["reasons"].size(), 6U);
    EXPECT_EQ(document["reasons"][3],
              "3.fff could be read only up to byte 536870912: input/output error.");
    EXPECT_EQ(document["notes"], json::array());
    EXPECT_TRUE(document["fatal"].is_null());
}

TEST(report_json, start_at_is_a_number_not_an_index) {
    report_json_input input = intact_document();
    input.run.scope.start_index = std::numeric_limits<std::int32_t>::max();
    EXPECT_EQ(parsed(input)["start_at"], 2147483648);
}

TEST(report_json, has_volume_with_null_for_unknown) {
    const json volume = parsed(counterfeit_document())["volume"];
    EXPECT_EQ(volume["root"], "/media/SD CARD");
    EXPECT_EQ(volume["name"], "SD CARD");
    EXPECT_EQ(volume["file_system"], "exfat");
    EXPECT_EQ(volume["identifier"], "/dev/sdb1");
    EXPECT_EQ(volume["capacity_bytes"], 3490709504U);
    EXPECT_EQ(volume["free_bytes"], 3489660928U);
    EXPECT_EQ(volume["read_only"], false);
    EXPECT_EQ(volume["removable"], true);
    EXPECT_TRUE(volume["ejectable"].is_null());
    EXPECT_EQ(volume["internal"], false);
    const json unknown = parsed(report_json_input())["volume"];
    EXPECT_EQ(unknown.size(), 10U);
    for (const auto &value : unknown)
        EXPECT_TRUE(value.is_null());
}

TEST(report_json, has_write_phase) {
    const json write = parsed(counterfeit_document())["write"];
    EXPECT_EQ(write["bytes"], 3489660928U);
    EXPECT_EQ(write["block_bytes"], 65536);
    EXPECT_EQ(write["free_bytes_at_start"], 3489660928U);
    EXPECT_EQ(write["free_bytes_at_end"], 0U);
    EXPECT_EQ(write["bytes_per_second"], 10752000.0);
    EXPECT_EQ(write["files_created"], 4);
    EXPECT_EQ(write["end"], "full_in_file");
    EXPECT_TRUE(write["error"].is_null());
}

TEST(report_json, names_each_end_of_write_phase) {
    report_json_input input = counterfeit_document();
    const std::pair<engine_write_end, const char *> words[] = {
        {ENGINE_WRITE_NOT_ENDED, "not_ended"},
        {ENGINE_WRITE_NO_FREE_SPACE, "no_free_space"},
        {ENGINE_WRITE_FULL_AT_FILE, "full_at_file"},
        {ENGINE_WRITE_FULL_IN_FILE, "full_in_file"},
    };
    for (const auto &[end, word] : words) {
        input.run.write.end = end;
        EXPECT_EQ(parsed(input)["write"]["end"], word);
    }
}

TEST(report_json, unknown_write_values_are_null) {
    report_json_input input = counterfeit_document();
    input.run.write.average_known = 0;
    input.run.write.free_at_end_known = 0;
    input.run.write.write_error = 5;
    const json document = parsed(input);
    EXPECT_TRUE(document["write"]["bytes_per_second"].is_null());
    EXPECT_TRUE(document["write"]["free_bytes_at_end"].is_null());
    EXPECT_EQ(document["write"]["error"], (json{{"number", 5}, {"text", "Input/output error"}}));
}

TEST(report_json, has_read_phase) {
    const json read = parsed(counterfeit_document())["read"];
    EXPECT_EQ(read["finished"], true);
    EXPECT_EQ(read["bytes"], 2684354560U);
    EXPECT_EQ(
        read["sectors"],
        (json{{"ok", 3145728}, {"corrupted", 1048576}, {"changed", 0}, {"overwritten", 1048576}}));
    EXPECT_EQ(read["sector_bytes"], (json{{"ok", 1610612736},
                                          {"corrupted", 536870912},
                                          {"changed", 0},
                                          {"overwritten", 536870912}}));
    EXPECT_EQ(read["seconds"], 125.0);
    EXPECT_EQ(read["bytes_per_second"], 21474836.48);
    EXPECT_EQ(read["counts_agree"], true);
    EXPECT_EQ(read["files"], 3);
    EXPECT_EQ(read["files_stopped"], 1);
}

TEST(report_json, unfinished_read_phase_has_null_totals) {
    report_json_input input = counterfeit_document();
    input.run.read.finished = 0;
    const json read = parsed(input)["read"];
    EXPECT_EQ(read["finished"], false);
    EXPECT_EQ(read["bytes"], 2684354560U);
    EXPECT_TRUE(read["seconds"].is_null());
    EXPECT_TRUE(read["bytes_per_second"].is_null());
    EXPECT_TRUE(read["counts_agree"].is_null());
}

TEST(report_json, phase_outside_the_run_is_null) {
    const json document = parsed(report_json_input());
    EXPECT_TRUE(document["write"].is_null());
    EXPECT_TRUE(document["read"].is_null());
    EXPECT_TRUE(document["report"].is_null());
    EXPECT_TRUE(document["ended_at"].is_null());
    EXPECT_EQ(document["files"], json::array());
    EXPECT_EQ(document["errors"], json::array());
    EXPECT_EQ(document["missing_files"], (json{{"count", 0}, {"ranges", json::array()}}));
    EXPECT_EQ(document["verdict"], "nothing_tested");
    EXPECT_EQ(document["exit_status"], 74);
}

TEST(report_json, has_each_file_with_counts) {
    const json files = parsed(counterfeit_document())["files"];
    ASSERT_EQ(files.size(), 3U);
    EXPECT_EQ(
        files[1],
        (json{{"number", 2},
              {"name", "2.fff"},
              {"bytes_read", 1073741824},
              {"read_to_end", true},
              {"stopped_at_byte", nullptr},
              {"cut_short", false},
              {"sectors",
               {{"ok", 1048576}, {"corrupted", 0}, {"changed", 0}, {"overwritten", 1048576}}}}));
    EXPECT_EQ(files[2]["read_to_end"], false);
    EXPECT_EQ(files[2]["stopped_at_byte"], 536870912);
    report_json_input input = counterfeit_document();
    input.run.files[0].size = 512;
    EXPECT_EQ(parsed(input)["files"][0]["cut_short"], true);
}

TEST(report_json, has_missing_files_by_number) {
    report_json_input input = counterfeit_document();
    input.run.missing = {{4, 8}};
    input.run.read.missing = 5;
    EXPECT_EQ(parsed(input)["missing_files"],
              (json{{"count", 6},
                    {"ranges",
                     json::array({{{"first", 5}, {"last", 9}}, {{"first", 4}, {"last", 4}}})}}));
}

TEST(report_json, has_each_error_with_place) {
    report_json_input input = counterfeit_document();
    input.run.scope.removal_listing_error = 19;
    input.run.read.listing_error = 13;
    input.run.write.write_error = 28;
    const json errors = parsed(input)["errors"];
    ASSERT_EQ(errors.size(), 4U);
    EXPECT_EQ(errors[0], (json{{"during", "removing"},
                               {"number", 19},
                               {"text", "No such device"},
                               {"file", nullptr},
                               {"at_byte", nullptr}}));
    EXPECT_EQ(errors[1]["during"], "writing");
    EXPECT_EQ(errors[1]["file"], "4.fff");
    EXPECT_EQ(errors[2]["during"], "listing");
    EXPECT_EQ(errors[2]["text"], "Permission denied");
    EXPECT_EQ(errors[3], (json{{"during", "reading"},
                               {"number", 5},
                               {"text", "Input/output error"},
                               {"file", "3.fff"},
                               {"at_byte", 536870912}}));
}

TEST(report_json, report_texts_equal_the_block) {
    const report_json_input input = counterfeit_document();
    const json report = parsed(input)["report"];
    EXPECT_EQ(report["volume_intact"], "NO");
    EXPECT_EQ(report["capacity_gb"], "3.251 GB");
    EXPECT_EQ(report["write_speed_average"], "10.25 MB/s");
    EXPECT_EQ(report["data_corrupted"], "512.000000 MB");
    const std::vector<std::string> lines = report_block_lines(*input.facts);
    ASSERT_EQ(report.size() + 2, lines.size());
    std::size_t at = 1;
    for (const auto &value : report) {
        const std::string end = " : " + value.get<std::string>() + "\n";
        EXPECT_EQ(lines[at].substr(lines[at].size() - end.size()), end);
        ++at;
    }
}

TEST(report_json, fatal_error_sets_exit_status) {
    report_json_input input = intact_document();
    input.fatal = report_json_fatal{"ERR: Can't remove file /media/x/1.fff", 30};
    json document = parsed(input);
    EXPECT_EQ(document["fatal"],
              (json{{"message", "ERR: Can't remove file /media/x/1.fff"}, {"exit_status", 30}}));
    EXPECT_EQ(document["exit_status"], 30);
    EXPECT_EQ(document["verdict"], "intact");
    input.fatal->exit_status = -1;
    document = parsed(input);
    EXPECT_TRUE(document["fatal"]["exit_status"].is_null());
    EXPECT_TRUE(document["exit_status"].is_null());
}

TEST(report_json, intact_run_has_no_reasons_or_errors) {
    const json document = parsed(intact_document());
    EXPECT_EQ(document["verdict"], "intact");
    EXPECT_EQ(document["exit_status"], 0);
    EXPECT_EQ(document["reasons"], json::array());
    EXPECT_EQ(document["errors"], json::array());
    EXPECT_EQ(document["missing_files"]["count"], 0);
}

TEST(report_json, non_finite_numbers_are_null) {
    report_json_input input = counterfeit_document();
    for (const double number : {NAN, INFINITY, -INFINITY}) {
        input.run.write.average_bytes_per_s = number;
        input.run.read.bytes_per_s = number;
        input.run.read.reading_s = number;
        const json document = parsed(input);
        EXPECT_TRUE(document["write"]["bytes_per_second"].is_null());
        EXPECT_TRUE(document["read"]["bytes_per_second"].is_null());
        EXPECT_TRUE(document["read"]["seconds"].is_null());
    }
}

TEST(report_json, bytes_beyond_64_bits_are_null) {
    constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();
    report_json_input input = counterfeit_document();
    input.run.read.bytes_read = largest;
    input.run.read.ok = largest / 512;
    input.run.read.changed = largest / 512 + 1;
    const json read = parsed(input)["read"];
    EXPECT_EQ(read["bytes"].get<std::uint64_t>(), largest);
    EXPECT_EQ(read["sector_bytes"]["ok"].get<std::uint64_t>(), largest - 511);
    EXPECT_TRUE(read["sector_bytes"]["changed"].is_null());
}

TEST(report_json, invalid_utf8_gets_percent_escaped_field) {
    report_json_input input = counterfeit_document();
    input.volume.root = "/media/caf\xE9 1";
    input.facts->volume_path = input.volume.root;
    input.fatal = report_json_fatal{"ERR: Can't open file /media/caf\xE9 1/1.fff", 5};
    const std::string text = report_json_text(input);
    EXPECT_EQ(utf8_replace_invalid(text), text);
    const json document = json::parse(text);
    EXPECT_EQ(document["volume"]["root"], "/media/caf\xEF\xBF\xBD 1");
    EXPECT_EQ(document["volume"]["root_percent_escaped"], "/media/caf%E9%201");
    EXPECT_FALSE(document["volume"].contains("name_percent_escaped"));
    EXPECT_EQ(document["report"]["volume_name_percent_escaped"], "/media/caf%E9%201");
    EXPECT_EQ(document["fatal"]["message_percent_escaped"],
              "ERR%3A%20Can%27t%20open%20file%20/media/caf%E9%201/1.fff");
}

TEST(report_json, invalid_bytes_never_throw) {
    const std::string bad = "\xFF\xC0\x80\xED\xA0\x80\xF4\x90\x80\x80\"\\\n\x1B";
    report_json_input input = counterfeit_document();
    input.program = input.version = input.command = bad;
    input.volume.root = input.volume.name = bad;
    input.volume.file_system = input.volume.identifier = bad;
    input.verdict.reasons = input.verdict.notes = {bad};
    input.fatal = report_json_fatal{bad, 1};
    report_facts &facts = *input.facts;
    facts.volume_path = facts.version = facts.write_speed_unit = facts.data_ok = bad;
    std::string text;
    ASSERT_NO_THROW(text = report_json_text(input));
    EXPECT_EQ(utf8_replace_invalid(text), text);
    const json document = json::parse(text);
    EXPECT_EQ(document["program"], utf8_replace_invalid(bad));
    EXPECT_EQ(document["reasons"][0], utf8_replace_invalid(bad));
}

TEST(report_json, keeps_valid_utf8) {
    report_json_input input = counterfeit_document();
    input.volume.name =
        "K\xC3\xBC"
        "che \xF0\x9F\x92\xBE";
    EXPECT_NE(report_json_text(input).find("K\xC3\xBC"
                                           "che \xF0\x9F\x92\xBE"),
              std::string::npos);
}

TEST(report_json, escapes_terminal_controls) {
    report_json_input input = counterfeit_document();
    const std::string controls =
        "\x7F \xC2\x9B"
        "2J \xE2\x80\xAE \xE2\x80\xA8 \x1B[2J";
    input.volume.name = controls;
    const std::string text = report_json_text(input);
    for (const char *raw : {"\x7F", "\xC2\x9B", "\xE2\x80\xAE", "\xE2\x80\xA8", "\x1B"})
        EXPECT_EQ(text.find(raw), std::string::npos) << raw;
    EXPECT_NE(text.find(R"(\u007f \u009b2J \u202e \u2028 \u001b[2J)"), std::string::npos) << text;
    EXPECT_EQ(json::parse(text)["volume"]["name"], controls);
}
