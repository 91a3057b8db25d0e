// SPDX-License-Identifier: GPL-3.0-or-later
// A run with any numbers and texts, made from the bytes of a case.
#ifndef TROVIK_TESTS_FUZZ_MADE_RUN_H
#define TROVIK_TESTS_FUZZ_MADE_RUN_H

#include "fuzz.h"
#include "report/report_json.h"

// Its verdict comes from verdict_judge.
report_json_input made_input(fuzz_input &input);

#endif
