// What speaks against a run, kind by kind. Each function appends the reasons of
// its kind, or nothing; verdict.cpp has their order.
#ifndef TROVIK_REPORT_VERDICT_REASONS_H
#define TROVIK_REPORT_VERDICT_REASONS_H

#include <cstddef>
#include <string>
#include <vector>

#include "report/run_snapshot.h"

// Files or gaps that are named one by one; how many there are beyond is said in
// one line more. The JSON document names all.
constexpr std::size_t verdict_names_max = 20;

using reason_list = std::vector<std::string>;

void add_reasons_lost_data(const run_snapshot &run, reason_list &reasons);
void add_reasons_nothing_tested(const run_snapshot &run, reason_list &reasons);
void add_reasons_volume_gone(const run_snapshot &run, reason_list &reasons);
void add_reasons_unfinished(const run_snapshot &run, reason_list &reasons);
void add_reasons_stopped_files(const run_snapshot &run, reason_list &reasons);
void add_reasons_missing_files(const run_snapshot &run, reason_list &reasons);
void add_reasons_short_files(const run_snapshot &run, reason_list &reasons);
void add_reasons_byte_counts(const run_snapshot &run, reason_list &reasons);
void add_reasons_listing(const run_snapshot &run, reason_list &reasons);

// That the data may have come from memory: counts against a run that is intact
// otherwise, and is worth knowing beside any other verdict.
void add_reasons_memory(const run_snapshot &run, reason_list &reasons);

// What the write phase left free: a reason, or a note when it is less than 1 % of
// what was free at the start.
void add_reasons_space_left(const run_snapshot &run, reason_list &reasons, reason_list &notes);

#endif
