// SPDX-License-Identifier: GPL-3.0-or-later
// The JSON document: a run of any numbers and texts is written, read back with an independent
// reader and compared. The verdict must agree with the run.
#include <cmath>
#include <cstdlib>
#include <string>

#include "fuzz.h"
#include "json_reader.h"
#include "made_run.h"
#include "report/report_json.h"
#include "utf8_model.h"

using kind = json_value::kind;

static void expect_null(const json_value &value) {
    FUZZ_REQUIRE(value.is == kind::null);
}

static void expect_text(const json_value &value, const std::string &text) {
    FUZZ_REQUIRE(value.is == kind::text && value.text == text);
}

template <typename integer>
static void expect_integer(const json_value &value, integer number) {
    FUZZ_REQUIRE(value.is == kind::number && value.text == std::to_string(number));
}

static void expect_bool(const json_value &value, bool flag) {
    FUZZ_REQUIRE(value.is == kind::boolean && value.text == (flag ? "true" : "false"));
}

static void expect_double(const json_value &value, bool known, double number) {
    if (!known || !std::isfinite(number))
        return expect_null(value);
    FUZZ_REQUIRE(value.is == kind::number && std::strtod(value.text.c_str(), nullptr) == number);
}

static std::string without_percent_escapes(const std::string &text) {
    std::string bytes;
    for (size_t at = 0; at < text.size(); ++at) {
        const bool escaped = text[at] == '%';
        bytes +=
            escaped ? static_cast<char>(std::stoi(text.substr(at + 1, 2), nullptr, 16)) : text[at];
        at += escaped ? 2 : 0;
    }
    return bytes;
}

// A text of any bytes: unchanged when it is valid UTF-8, else with a second, escaped field.
static void expect_raw_text(const json_value &object, const std::string &key,
                            const std::string &text) {
    const std::string escaped = key + "_percent_escaped";
    FUZZ_REQUIRE(object.has(escaped) == !utf8_model_is_valid(text));
    if (text.empty())
        expect_null(object[key]);
    else if (utf8_model_is_valid(text))
        expect_text(object[key], text);
    else
        FUZZ_REQUIRE(object[key].is == kind::text &&
                     without_percent_escapes(object[escaped].text) == text);
}

template <typename value_type, typename expect>
static void expect_optional(const json_value &value, const std::optional<value_type> &expected,
                            expect expect_value) {
    if (expected)
        expect_value(value, *expected);
    else
        expect_null(value);
}

static void check_volume(const json_value &object, const volume_info &volume) {
    expect_raw_text(object, "root", volume.root);
    expect_raw_text(object, "name", volume.name);
    expect_raw_text(object, "identifier", volume.identifier);
    expect_optional(object["capacity_bytes"], volume.capacity_bytes, expect_integer<uint64_t>);
    expect_optional(object["free_bytes"], volume.free_bytes, expect_integer<uint64_t>);
    expect_optional(object["read_only"], volume.read_only, expect_bool);
    expect_optional(object["removable"], volume.removable, expect_bool);
    expect_optional(object["ejectable"], volume.ejectable, expect_bool);
    expect_optional(object["internal"], volume.internal, expect_bool);
}

template <typename counts>
static void check_counts(const json_value &object, const counts &expected) {
    expect_integer(object["ok"], expected.ok);
    expect_integer(object["corrupted"], expected.corrupted);
    expect_integer(object["changed"], expected.changed);
    expect_integer(object["overwritten"], expected.overwritten);
}

static void check_write(const json_value &object, const run_snapshot &run) {
    if (!run.scope.has_write)
        return expect_null(object);
    expect_integer(object["bytes"], run.write.bytes_written);
    expect_integer(object["block_bytes"], run.write.block_size);
    expect_integer(object["free_bytes_at_start"], run.write.free_at_start);
    expect_integer(object["files_created"], run.write.files_created);
    expect_double(object["bytes_per_second"], run.write.average_known != 0,
                  run.write.average_bytes_per_s);
    if (run.write.free_at_end_known != 0)
        expect_integer(object["free_bytes_at_end"], run.write.free_at_end);
    else
        expect_null(object["free_bytes_at_end"]);
    if (run.write.write_error != 0)
        expect_integer(object["error"]["number"], run.write.write_error);
    else
        expect_null(object["error"]);
}

static void check_sector_bytes(const json_value &value, uint64_t sectors) {
    if (sectors >> 55 != 0)
        return expect_null(value);
    expect_integer(value, sectors << 9);
}

static void check_read(const json_value &object, const run_snapshot &run) {
    if (!run.scope.has_read)
        return expect_null(object);
    expect_bool(object["finished"], run.read.finished != 0);
    expect_integer(object["bytes"], run.read.bytes_read);
    check_counts(object["sectors"], run.read);
    check_sector_bytes(object["sector_bytes"]["ok"], run.read.ok);
    check_sector_bytes(object["sector_bytes"]["corrupted"], run.read.corrupted);
    check_sector_bytes(object["sector_bytes"]["changed"], run.read.changed);
    check_sector_bytes(object["sector_bytes"]["overwritten"], run.read.overwritten);
    expect_double(object["seconds"], run.read.finished != 0, run.read.reading_s);
    expect_double(object["bytes_per_second"], run.read.finished != 0, run.read.bytes_per_s);
    expect_integer(object["files"], run.read.files);
    expect_integer(object["files_stopped"], run.read.files_cut);
    expect_bool(object["may_rest_on_memory"], run.scope.may_rest_on_memory);
}

static void check_files(const json_value &list, const run_snapshot &run) {
    FUZZ_REQUIRE(list.is == kind::list && list.items.size() == run.files.size());
    for (size_t i = 0; i < run.files.size(); ++i) {
        const json_value &object = list.items[i];
        const engine_file_result &file = run.files[i];
        expect_integer(object["number"], int64_t{file.index} + 1);
        expect_integer(object["bytes_read"], file.size);
        expect_bool(object["read_to_end"], file.read_all != 0);
        check_counts(object["sectors"], file);
        if (file.read_all == 0)
            expect_integer(object["stopped_at_byte"], file.size);
        else
            expect_null(object["stopped_at_byte"]);
    }
}

static void check_fatal(const json_value &document, const std::optional<report_json_fatal> &fatal) {
    if (!fatal)
        return expect_null(document["fatal"]);
    expect_raw_text(document["fatal"], "message", fatal->message);
    if (fatal->exit_status >= 0)
        expect_integer(document["exit_status"], fatal->exit_status);
    else
        expect_null(document["exit_status"]);
}

static void check_report(const json_value &object, const std::optional<report_facts> &facts) {
    if (!facts)
        return expect_null(object);
    expect_text(object["volume_intact"], facts->intact ? "YES" : "NO");
    expect_text(object["capacity_bytes"], std::to_string(facts->capacity_bytes) + " Bytes");
    expect_raw_text(object, "volume_name", facts->volume_path);
    expect_raw_text(object, "data_ok", facts->data_ok);
    expect_raw_text(object, "trovik_version", facts->version);
}

// The verdict is intact only for a run without any fault.
static void check_verdict(const json_value &document, const run_snapshot &run) {
    const bool intact = document["verdict"].text == "intact";
    FUZZ_REQUIRE(intact == document["reasons"].items.empty());
    if (!intact)
        return;
    FUZZ_REQUIRE(run.scope.has_read && run.read.finished != 0 && run.read.ok > 0);
    FUZZ_REQUIRE(run.read.corrupted == 0 && run.read.changed == 0 && run.read.overwritten == 0);
    FUZZ_REQUIRE(run.read.files_cut == 0 && run.read.missing == 0 && run.read.listing_error == 0);
    FUZZ_REQUIRE(!run.scope.may_rest_on_memory && !run.scope.volume_gone);
    FUZZ_REQUIRE(document["missing_files"]["count"].text == "0");
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz_input input(data, size);
    const report_json_input made = made_input(input);
    const std::string text = report_json_text(made);
    FUZZ_REQUIRE(text.back() == '\n');
    const json_value document = json_read(text);
    expect_integer(document["start_at"], int64_t{made.run.scope.start_index} + 1);
    check_volume(document["volume"], made.volume);
    check_write(document["write"], made.run);
    check_read(document["read"], made.run);
    check_files(document["files"], made.run);
    check_fatal(document, made.fatal);
    check_report(document["report"], made.facts);
    check_verdict(document, made.run);
    return 0;
}
