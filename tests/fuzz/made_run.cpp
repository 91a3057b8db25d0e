// SPDX-License-Identifier: GPL-3.0-or-later
// Reads a run from the bytes of a case, field by field.
#include "made_run.h"

#include <cstring>

static std::string made_text(fuzz_input &input) {
    const size_t length = input.byte() % 32;
    std::string text;
    while (text.size() < length && !input.empty())
        text += static_cast<char>(input.byte());
    return text;
}

// Zero to eight bytes, so that small numbers are as frequent as large ones.
static uint64_t made_number(fuzz_input &input) {
    return input.number(input.byte() % 9);
}

static double made_double(fuzz_input &input) {
    const uint64_t bits = input.number();
    double value = 0;
    static_assert(sizeof value == sizeof bits);
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

template <typename made>
static auto maybe(fuzz_input &input, made make) {
    std::optional<decltype(make(input))> value;
    if (input.flag())
        value = make(input);
    return value;
}

static volume_info made_volume(fuzz_input &input) {
    const auto made_flag = [](fuzz_input &from) { return from.flag(); };
    volume_info volume;
    volume.root = made_text(input);
    volume.name = made_text(input);
    volume.file_system = made_text(input);
    volume.identifier = made_text(input);
    volume.capacity_bytes = maybe(input, made_number);
    volume.free_bytes = maybe(input, made_number);
    volume.read_only = maybe(input, made_flag);
    volume.removable = maybe(input, made_flag);
    volume.ejectable = maybe(input, made_flag);
    volume.internal = maybe(input, made_flag);
    return volume;
}

static void make_write(fuzz_input &input, engine_write_results &write) {
    write.free_at_start = made_number(input);
    write.free_at_end = made_number(input);
    write.free_at_end_known = input.flag();
    write.bytes_written = made_number(input);
    write.first_index = input.number32();
    write.current_index = input.number32();
    write.block_size = input.number32();
    write.files_created = input.number32();
    write.write_error = input.byte();
    write.end = input.byte() % 5;
    write.average_known = input.flag();
    write.average_bytes_per_s = made_double(input);
}

template <typename counts>
static void make_counts(fuzz_input &input, counts &made) {
    made.ok = made_number(input);
    made.corrupted = made_number(input);
    made.changed = made_number(input);
    made.overwritten = made_number(input);
}

static void make_read(fuzz_input &input, engine_read_results &read) {
    read.bytes_read = made_number(input);
    make_counts(input, read);
    read.files = made_number(input);
    read.files_cut = made_number(input);
    read.missing = made_number(input);
    read.listing_error = input.byte();
    read.finished = input.flag();
    read.counts_agree = input.flag();
    read.reading_s = made_double(input);
    read.bytes_per_s = made_double(input);
}

static run_snapshot made_run(fuzz_input &input) {
    run_snapshot run;
    const uint8_t flags = input.byte();
    run.scope.has_write = (flags & 1) != 0;
    run.scope.has_read = (flags & 2) != 0;
    run.scope.expects_all_written = (flags & 4) != 0;
    run.scope.volume_gone = (flags & 8) != 0;
    run.scope.may_rest_on_memory = (flags & 16) != 0;
    run.volume_intact = (flags & 32) != 0;
    run.scope.start_index = input.number32();
    run.scope.removal_listing_error = input.byte();
    // As in every snapshot, a phase that was not part of the run is empty.
    if (run.scope.has_write)
        make_write(input, run.write);
    if (run.scope.has_read)
        make_read(input, run.read);
    for (int left = run.scope.has_read ? input.byte() % 8 : 0; left > 0; --left) {
        engine_file_result file{};
        file.index = input.number32();
        file.read_all = input.flag();
        file.size = made_number(input);
        make_counts(input, file);
        run.files.push_back(file);
    }
    for (int left = input.byte() % 4; left > 0; --left) {
        const int32_t first = input.number32();
        run.missing.push_back({first, input.number32()});
    }
    return run;
}

static report_facts made_facts(fuzz_input &input) {
    report_facts facts;
    facts.intact = input.flag();
    facts.volume_path = made_text(input);
    facts.capacity_bytes = made_number(input);
    facts.write_speed = made_double(input);
    facts.write_speed_unit = made_text(input);
    facts.data_ok = made_text(input);
    facts.version = made_text(input);
    return facts;
}

report_json_input made_input(fuzz_input &input) {
    report_json_input made;
    made.program = made_text(input);
    made.version = made_text(input);
    made.command = made_text(input);
    made.ended_at =
        maybe(input, [](fuzz_input &from) { return static_cast<std::time_t>(made_number(from)); });
    made.volume = made_volume(input);
    made.run = made_run(input);
    made.verdict = verdict_judge(made.run);
    made.facts = maybe(input, made_facts);
    made.fatal = maybe(input, [](fuzz_input &from) {
        return report_json_fatal{made_text(from), static_cast<int>(from.byte()) - 1};
    });
    return made;
}
