// SPDX-License-Identifier: GPL-3.0-or-later
// Decisions use whole numbers, which fit 64 bits up to the largest possible volume (16 EB).
// Floating point is for texts only.
#include "report/verdict_reasons.h"

#include <algorithm>
#include <cstdint>

#include "model/test_sector.h"
#include "report/number_text.h"
#include "report/printable.h"

static std::string counted(std::uint64_t count, const char *singular) {
    return std::to_string(count) + " " + singular + (count == 1 ? "" : "s");
}

static std::string sectors_text(std::uint64_t sectors) {
    const double bytes = static_cast<double>(sectors) * SECTOR_SIZE;
    return counted(sectors, "sector") + " (" + size_text_from_value(bytes) + ")";
}

// The number of files that a list left out; nothing when it named all of them.
static void add_more(std::uint64_t all, std::uint64_t named, const std::string &what,
                     reason_list &reasons) {
    if (all > named)
        reasons.push_back("More files that " + what + ": " + std::to_string(all - named) + ".");
}

// ", first in 2.fff"; empty when the file is beyond the engine's limited record.
static std::string first_bad_file(const run_snapshot &run) {
    const auto bad =
        std::find_if(run.files.begin(), run.files.end(), [](const engine_file_result &file) {
            return file.corrupted != 0 || file.changed != 0 || file.overwritten != 0;
        });
    return bad == run.files.end() ? "" : ", first in " + run_snapshot_file_name(bad->index);
}

void add_reasons_lost_data(const run_snapshot &run, reason_list &reasons) {
    if (!run_snapshot_lost_data(run))
        return;
    const engine_read_results &read = run.read;
    const double bad_bytes =
        SECTOR_SIZE * (static_cast<double>(read.corrupted) + static_cast<double>(read.changed) +
                       static_cast<double>(read.overwritten));
    reasons.push_back("Data lost: " + size_text_from_value(bad_bytes) + " of the " +
                      size_text_from_bytes(read.bytes_read) +
                      " that were read did not come back as written" + first_bad_file(run) + ".");
    if (read.corrupted != 0)
        reasons.push_back("Corrupted: " + sectors_text(read.corrupted) +
                          ", no longer recognizable as test data.");
    if (read.changed != 0)
        reasons.push_back("Changed: " + sectors_text(read.changed) +
                          ", differing in one or two words from what was written.");
    if (read.overwritten != 0)
        reasons.push_back("Overwritten: " + sectors_text(read.overwritten) +
                          ", holding what was written to another place, as on a volume that claims "
                          "more than it has.");
}

void add_reasons_nothing_tested(const run_snapshot &run, reason_list &reasons) {
    if (run_snapshot_tested(run))
        return;
    if (!run.scope.has_read)
        reasons.emplace_back("Nothing was tested: no test file was read back.");
    else if (run.read.files == 0 && run_snapshot_read_finished(run))
        reasons.emplace_back("Nothing was tested: there was no test file to read back.");
    else
        reasons.emplace_back("Nothing was tested: no sector could be read back.");
}

void add_reasons_volume_gone(const run_snapshot &run, reason_list &reasons) {
    if (run.scope.volume_gone)
        reasons.emplace_back("The volume was unmounted or replaced during the run.");
}

void add_reasons_memory(const run_snapshot &run, reason_list &reasons) {
    if (run.scope.may_rest_on_memory)
        reasons.emplace_back(
            "A copy in the computer's memory could not be dropped before reading: run as root, or "
            "take the volume out, put it back and read it again.");
}

void add_reasons_unfinished(const run_snapshot &run, reason_list &reasons) {
    if (run.scope.has_write && run.write.write_error != 0)
        reasons.push_back("Writing failed in " + run_snapshot_file_name(run.write.current_index) +
                          ": " + error_text(run.write.write_error) + ".");
    if (run.scope.has_write && run.write.end == ENGINE_WRITE_NOT_ENDED)
        reasons.push_back("Filling the volume did not finish; " +
                          size_text_from_bytes(run.write.bytes_written) + " were written.");
    if (run.scope.has_read && run.read.finished == 0)
        reasons.push_back("Reading back did not finish; " +
                          size_text_from_bytes(run.read.bytes_read) + " were read.");
}

void add_reasons_stopped_files(const run_snapshot &run, reason_list &reasons) {
    std::uint64_t named = 0;
    for (const engine_file_result &file : run.files) {
        if (file.read_all != 0 || named == verdict_names_max)
            continue;
        reasons.push_back(run_snapshot_file_name(file.index) +
                          (file.size >= run.full_file_bytes
                               ? " was read to its end, but only after an input/output error."
                               : " could be read only up to byte " + std::to_string(file.size) +
                                     ": input/output error."));
        ++named;
    }
    add_more(run.read.files_cut, named, "could not be read to their end", reasons);
}

void add_reasons_missing_files(const run_snapshot &run, reason_list &reasons) {
    std::uint64_t named_files = 0;
    std::size_t named_ranges = 0;
    for (const engine_missing_range &range : run_snapshot_missing(run)) {
        if (named_ranges++ == verdict_names_max)
            break;
        const auto count = static_cast<std::uint64_t>(static_cast<std::int64_t>(range.last_index) -
                                                      range.first_index + 1);
        std::string line = "Missing: " + run_snapshot_file_name(range.first_index);
        if (count > 1)
            line += " to " + run_snapshot_file_name(range.last_index) + " (" +
                    counted(count, "test file") + ")";
        reasons.push_back(line + ".");
        named_files += count;
    }
    add_more(run_snapshot_missing_count(run), named_files, "are missing", reasons);
}

void add_reasons_short_files(const run_snapshot &run, reason_list &reasons) {
    std::uint64_t found = 0;
    for (const engine_file_result &file : run.files) {
        std::string line;
        if (run_snapshot_is_cut_short(run, file))
            line = run_snapshot_file_name(file.index) + " ends at byte " +
                   std::to_string(file.size) + " instead of " +
                   std::to_string(run.full_file_bytes) + ": the rest is missing.";
        else if (file.read_all != 0 && file.size % SECTOR_SIZE != 0)
            line = run_snapshot_file_name(file.index) + " ends inside a sector: its last " +
                   counted(file.size % SECTOR_SIZE, "byte") + " could not be judged.";
        if (!line.empty() && ++found <= verdict_names_max)
            reasons.push_back(line);
    }
    add_more(found, std::min<std::uint64_t>(found, verdict_names_max), "end too early", reasons);
}

void add_reasons_byte_counts(const run_snapshot &run, reason_list &reasons) {
    if (!run_snapshot_read_finished(run))
        return;
    const std::uint64_t read = run.read.bytes_read;
    const std::uint64_t written = run.write.bytes_written;
    if (run.scope.has_write && run.scope.expects_all_written && read != written)
        reasons.push_back("Of " + std::to_string(written) + " bytes written, " +
                          std::to_string(read) + " were read back (" +
                          size_text_from_bytes(read < written ? written - read : read - written) +
                          (read < written ? " less)." : " more)."));
    if (run.read.counts_agree == 0)
        reasons.emplace_back("The sectors that were counted do not add up to the bytes read.");
    else if (!run.volume_intact && !run_snapshot_lost_data(run))
        reasons.emplace_back("The engine reports the data as not intact and gives no reason.");
}

void add_reasons_listing(const run_snapshot &run, reason_list &reasons) {
    if (run.scope.has_read && run.read.listing_error != 0)
        reasons.push_back("The folder could not be listed completely (" +
                          error_text(run.read.listing_error) +
                          "): there may be test files that were not read.");
    if (run.scope.removal_listing_error != 0)
        reasons.push_back("The folder could not be listed completely (" +
                          error_text(run.scope.removal_listing_error) +
                          ") when old test files were removed: some may still take up space.");
}

// Whether part * 100 < whole, computed without the product, which could exceed 64 bits.
static bool is_below_one_percent(std::uint64_t part, std::uint64_t whole) {
    return whole != 0 && part <= (whole - 1) / 100;
}

static std::string percent_text(std::uint64_t part, std::uint64_t whole) {
    return number_text_fixed(static_cast<double>(part) / static_cast<double>(whole) * 100.0, 1) +
           " %";
}

void add_reasons_space_left(const run_snapshot &run, reason_list &reasons, reason_list &notes) {
    const engine_write_results &write = run.write;
    // Once the volume is gone, the free space is that of the file system below its mount point.
    if (!run.scope.has_write || run.scope.volume_gone || write.end == ENGINE_WRITE_NOT_ENDED)
        return;
    if (write.end == ENGINE_WRITE_NO_FREE_SPACE) {
        reasons.emplace_back(
            "Nothing was written: the volume had no free space, or its file system did not "
            "report it.");
        return;
    }
    if (write.free_at_end_known == 0) {
        reasons.emplace_back(
            "How much space was left untested is unknown: the file system did not report its free "
            "space at the end.");
        return;
    }
    const std::uint64_t left = write.free_at_end;
    if (left == 0)
        return;
    const std::string left_text = size_text_from_bytes(left);
    if (is_below_one_percent(left, write.free_at_start)) {
        notes.push_back(left_text +
                        " of free space could not be filled and were not tested; "
                        "this is below 1 %.");
        return;
    }
    const std::string share =
        write.free_at_start < left ? "" : " (" + percent_text(left, write.free_at_start) + ")";
    reasons.push_back(
        left_text + share + " of the " + size_text_from_bytes(write.free_at_start) +
        " that were free could not be filled and were not tested. On ext4 the usual "
        "reasons are blocks reserved for the super-user (run as root to test them) and, "
        "on a small volume, for the file system itself.");
}
