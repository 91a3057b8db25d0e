// SPDX-License-Identifier: GPL-3.0-or-later
#include "example_run.h"

#include "report/verdict.h"

static void add_file(run_snapshot &run, const engine_file_result &file) {
    run.files.push_back(file);
    run.read.files += 1;
    run.read.files_cut += file.read_all == 0 ? 1 : 0;
    run.read.bytes_read += file.size;
    run.read.current_index = file.index;
    run.read.ok += file.ok;
    run.read.corrupted += file.corrupted;
    run.read.changed += file.changed;
    run.read.overwritten += file.overwritten;
}

run_snapshot intact_reading() {
    run_snapshot run;
    run.scope.has_read = true;
    run.volume_intact = true;
    add_file(run, {0, 1, gib, sectors_per_gib, 0, 0, 0});
    add_file(run, {1, 1, gib, sectors_per_gib, 0, 0, 0});
    add_file(run, {2, 1, gib / 2, sectors_per_gib / 2, 0, 0, 0});
    run.read.finished = 1;
    run.read.counts_agree = 1;
    run.read.reading_s = 128.0;
    run.read.bytes_per_s = 20971520.0;
    return run;
}

run_snapshot intact_run() {
    run_snapshot run = intact_reading();
    run.scope.has_write = true;
    run.scope.expects_all_written = true;
    run.write.free_at_start = 5 * gib / 2;
    run.write.free_at_end_known = 1;
    run.write.bytes_written = 5 * gib / 2;
    run.write.current_index = 2;
    run.write.block_size = 1024;
    run.write.files_created = 3;
    run.write.end = ENGINE_WRITE_FULL_IN_FILE;
    run.write.average_known = 1;
    run.write.average_bytes_per_s = 10485760.0;
    return run;
}

run_snapshot counterfeit_run() {
    run_snapshot run;
    run.scope.has_write = true;
    run.scope.has_read = true;
    run.scope.expects_all_written = true;
    run.write.free_at_start = 13 * gib / 4;
    run.write.free_at_end_known = 1;
    run.write.bytes_written = 13 * gib / 4;
    run.write.current_index = 3;
    run.write.block_size = 65536;
    run.write.files_created = 4;
    run.write.end = ENGINE_WRITE_FULL_IN_FILE;
    run.write.average_known = 1;
    run.write.average_bytes_per_s = 10752000.0;
    add_file(run, {0, 1, gib, sectors_per_gib, 0, 0, 0});
    add_file(run, {1, 1, gib, sectors_per_gib / 2, 0, 0, sectors_per_gib / 2});
    add_file(run, {2, 0, gib / 2, 0, sectors_per_gib / 2, 0, 0});
    run.read.finished = 1;
    run.read.counts_agree = 1;
    run.read.reading_s = 125.0;
    run.read.bytes_per_s = 21474836.48;
    return run;
}

report_json_input counterfeit_document() {
    report_json_input input;
    input.program = "trovik-cli";
    input.version = "1.0.0-1";
    input.command = "test";
    input.ended_at = 1717768995;
    input.volume.root = "/media/SD CARD";
    input.volume.name = "SD CARD";
    input.volume.file_system = "exfat";
    input.volume.identifier = "/dev/sdb1";
    input.volume.capacity_bytes = 13 * gib / 4 + 1048576;
    input.volume.free_bytes = 13 * gib / 4;
    input.volume.read_only = false;
    input.volume.removable = true;
    input.volume.internal = false;
    input.run = counterfeit_run();
    input.verdict = verdict_judge(input.run);
    report_facts facts;
    facts.volume_path = input.volume.root;
    facts.capacity_bytes = 13 * gib / 4 + 1048576;
    facts.write_speed = 10.25390625;
    facts.write_speed_unit = "MB";
    facts.read_speed = 20.48;
    facts.read_speed_unit = "MB";
    facts.data_ok = "1.500000 GB";
    facts.data_lost = "1.000000 GB";
    facts.data_corrupted = "512.000000 MB";
    facts.data_changed = "0.000000 Byte";
    facts.data_overwritten = "512.000000 MB";
    facts.version = "1.0.0-1";
    input.facts = facts;
    return input;
}
