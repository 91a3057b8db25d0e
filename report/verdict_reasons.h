// SPDX-License-Identifier: GPL-3.0-or-later
// The reasons against a run, one function per kind. Each appends its reasons, or nothing;
// verdict.cpp sets the order. All functions: any thread.
#ifndef TROVIK_REPORT_VERDICT_REASONS_H
#define TROVIK_REPORT_VERDICT_REASONS_H

#include <cstddef>
#include <string>
#include <vector>

#include "report/run_snapshot.h"

// Files or gaps named one by one; one more line counts the rest. The JSON document names all.
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

// The data may have come from memory. This makes an otherwise intact run unproven and is
// listed with any other verdict.
void add_reasons_memory(const run_snapshot &run, reason_list &reasons);

// The space that the write phase left free: a reason, or a note when it is less than 1 % of the
// free space at the start.
void add_reasons_space_left(const run_snapshot &run, reason_list &reasons, reason_list &notes);

#endif
