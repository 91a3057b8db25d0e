// SPDX-License-Identifier: GPL-3.0-or-later
// Texts are made valid UTF-8 when they enter the document, so that dump() cannot throw. Numbers
// that JSON cannot express become null.
#include "report/report_json.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "model/plain_text.h"
#include "model/test_sector.h"
#include "report/printable.h"
#include "report/report_block.h"
#include "report/time_stamp.h"

using json = nlohmann::ordered_json;

constexpr int schema_version = 1;

static json text_or_null(const std::string &text) {
    return text.empty() ? json(nullptr) : json(utf8_replace_invalid(text));
}

static json number_or_null(double number) {
    return std::isfinite(number) ? json(number) : json(nullptr);
}

template <typename T>
static json value_or_null(const std::optional<T> &value) {
    return value ? json(*value) : json(nullptr);
}

// For a text of any bytes: the field, and a second one with the original bytes when the text is not
// valid UTF-8.
static void set_raw_text(json &object, const std::string &key, const std::string &text) {
    const std::string valid = utf8_replace_invalid(text);
    object[key] = text.empty() ? json(nullptr) : json(valid);
    if (valid != text)
        object[key + "_percent_escaped"] = utf8_percent_escape(text);
}

static json text_list(const std::vector<std::string> &texts) {
    json list = json::array();
    for (const std::string &text : texts)
        list.push_back(utf8_replace_invalid(text));
    return list;
}

// `sectors` in bytes; null beyond 64 bits.
static json sector_bytes(std::uint64_t sectors) {
    if (sectors > std::numeric_limits<std::uint64_t>::max() / SECTOR_SIZE)
        return nullptr;
    return sectors * SECTOR_SIZE;
}

static std::int64_t number_of(std::int32_t index) {
    return static_cast<std::int64_t>(index) + 1;
}

static json error_object(int error) {
    return {{"number", error}, {"text", utf8_replace_invalid(error_text(error))}};
}

static json volume_object(const volume_info &volume) {
    json object = json::object();
    set_raw_text(object, "root", volume.root);
    set_raw_text(object, "name", volume.name);
    object["file_system"] = text_or_null(volume.file_system);
    set_raw_text(object, "identifier", volume.identifier);
    object["capacity_bytes"] = value_or_null(volume.capacity_bytes);
    object["free_bytes"] = value_or_null(volume.free_bytes);
    object["read_only"] = value_or_null(volume.read_only);
    object["removable"] = value_or_null(volume.removable);
    object["ejectable"] = value_or_null(volume.ejectable);
    object["internal"] = value_or_null(volume.internal);
    return object;
}

static const char *write_end_word(std::int32_t end) {
    switch (end) {
        case ENGINE_WRITE_NO_FREE_SPACE:
            return "no_free_space";
        case ENGINE_WRITE_FULL_AT_FILE:
            return "full_at_file";
        case ENGINE_WRITE_FULL_IN_FILE:
            return "full_in_file";
        default:
            return "not_ended";
    }
}

static json write_object(const run_snapshot &run) {
    if (!run.scope.has_write)
        return nullptr;
    const engine_write_results &write = run.write;
    json object = json::object();
    object["bytes"] = write.bytes_written;
    object["block_bytes"] = write.block_size;
    object["free_bytes_at_start"] = write.free_at_start;
    object["free_bytes_at_end"] =
        write.free_at_end_known != 0 ? json(write.free_at_end) : json(nullptr);
    object["bytes_per_second"] =
        write.average_known != 0 ? number_or_null(write.average_bytes_per_s) : json(nullptr);
    object["files_created"] = write.files_created;
    object["end"] = write_end_word(write.end);
    object["error"] = write.write_error != 0 ? error_object(write.write_error) : json(nullptr);
    return object;
}

template <typename Counts>
static json sector_counts(const Counts &counts) {
    return {{"ok", counts.ok},
            {"corrupted", counts.corrupted},
            {"changed", counts.changed},
            {"overwritten", counts.overwritten}};
}

static json read_object(const run_snapshot &run) {
    if (!run.scope.has_read)
        return nullptr;
    const engine_read_results &read = run.read;
    const bool finished = read.finished != 0;
    json object = json::object();
    object["finished"] = finished;
    object["bytes"] = read.bytes_read;
    object["sectors"] = sector_counts(read);
    object["sector_bytes"] = {{"ok", sector_bytes(read.ok)},
                              {"corrupted", sector_bytes(read.corrupted)},
                              {"changed", sector_bytes(read.changed)},
                              {"overwritten", sector_bytes(read.overwritten)}};
    object["seconds"] = finished ? number_or_null(read.reading_s) : json(nullptr);
    object["bytes_per_second"] = finished ? number_or_null(read.bytes_per_s) : json(nullptr);
    object["counts_agree"] = finished ? json(read.counts_agree != 0) : json(nullptr);
    object["files"] = read.files;
    object["files_stopped"] = read.files_cut;
    object["may_rest_on_memory"] = run.scope.may_rest_on_memory;
    return object;
}

static json file_list(const run_snapshot &run) {
    json list = json::array();
    for (const engine_file_result &file : run.files) {
        json object = json::object();
        object["number"] = number_of(file.index);
        object["name"] = run_snapshot_file_name(file.index);
        object["bytes_read"] = file.size;
        object["read_to_end"] = file.read_all != 0;
        object["stopped_at_byte"] = file.read_all != 0 ? json(nullptr) : json(file.size);
        object["cut_short"] = run_snapshot_is_cut_short(run, file);
        object["sectors"] = sector_counts(file);
        list.push_back(std::move(object));
    }
    return list;
}

static json missing_object(const run_snapshot &run) {
    json ranges = json::array();
    for (const engine_missing_range &range : run_snapshot_missing(run))
        ranges.push_back(
            {{"first", number_of(range.first_index)}, {"last", number_of(range.last_index)}});
    return {{"count", run_snapshot_missing_count(run)}, {"ranges", std::move(ranges)}};
}

static void add_error(json &list, const char *during, int error, json file, json at_byte) {
    if (error == 0)
        return;
    json object = {{"during", during}};
    object.update(error_object(error));
    object["file"] = std::move(file);
    object["at_byte"] = std::move(at_byte);
    list.push_back(std::move(object));
}

static json error_list(const run_snapshot &run) {
    json list = json::array();
    add_error(list, "removing", run.scope.removal_listing_error, nullptr, nullptr);
    if (run.scope.has_write)
        add_error(list, "writing", run.write.write_error,
                  run_snapshot_file_name(run.write.current_index), nullptr);
    add_error(list, "listing", run.read.listing_error, nullptr, nullptr);
    for (const engine_file_result &file : run.files) {
        // EIO is the only read error that ends a file and not the process.
        if (file.read_all == 0)
            add_error(list, "reading", EIO, run_snapshot_file_name(file.index), file.size);
    }
    return list;
}

static json report_object(const std::optional<report_facts> &facts) {
    if (!facts)
        return nullptr;
    json object = json::object();
    for (const report_row &row : report_block_rows(*facts))
        set_raw_text(object, row.key, row.value);
    return object;
}

static json fatal_object(const std::optional<report_json_fatal> &fatal) {
    if (!fatal)
        return nullptr;
    json object = json::object();
    set_raw_text(object, "message", fatal->message);
    object["exit_status"] = fatal->exit_status >= 0 ? json(fatal->exit_status) : json(nullptr);
    return object;
}

static json exit_status_value(const report_json_input &input) {
    if (!input.fatal)
        return verdict_exit_status(input.verdict.verdict);
    return input.fatal->exit_status >= 0 ? json(input.fatal->exit_status) : json(nullptr);
}

// Escapes the control characters that JSON allows unescaped but a terminal would obey. They occur
// only inside strings, where the escape means the same.
static std::string escape_controls(const std::string &document) {
    std::string shown;
    for (std::size_t at = 0; at < document.size();) {
        std::uint32_t code = 0;
        const std::size_t left = document.size() - at;
        const std::size_t length = plain_text_first_character(&document[at], left, &code);
        const std::string character = document.substr(at, std::max<std::size_t>(length, 1));
        if (code >= 0x7F && plain_text_is_control(code) != 0) {
            const std::string quoted = json(character).dump(-1, ' ', true);
            shown += quoted.substr(1, quoted.size() - 2);
        } else {
            shown += character;
        }
        at += character.size();
    }
    return shown;
}

std::string report_json_text(const report_json_input &input) {
    json document = json::object();
    document["schema"] = schema_version;
    document["program"] = text_or_null(input.program);
    document["version"] = text_or_null(input.version);
    document["command"] = text_or_null(input.command);
    document["ended_at"] = text_or_null(input.ended_at ? time_stamp_utc(*input.ended_at) : "");
    document["start_at"] = number_of(input.run.scope.start_index);
    document["verdict"] = verdict_word(input.verdict.verdict);
    document["exit_status"] = exit_status_value(input);
    document["reasons"] = text_list(input.verdict.reasons);
    document["notes"] = text_list(input.verdict.notes);
    document["fatal"] = fatal_object(input.fatal);
    document["volume"] = volume_object(input.volume);
    document["write"] = write_object(input.run);
    document["read"] = read_object(input.run);
    document["files"] = file_list(input.run);
    document["missing_files"] = missing_object(input.run);
    document["errors"] = error_list(input.run);
    document["report"] = report_object(input.facts);
    // All texts are valid by now; error_handler_t::replace makes sure that dump() never throws.
    return escape_controls(document.dump(2, ' ', false, json::error_handler_t::replace)) + "\n";
}
