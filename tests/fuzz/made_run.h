// A run of any numbers and texts, from the bytes of a case.
#ifndef TROVIK_TESTS_FUZZ_MADE_RUN_H
#define TROVIK_TESTS_FUZZ_MADE_RUN_H

#include "fuzz.h"
#include "report/report_json.h"

// With the verdict that the program itself gives.
report_json_input made_input(fuzz_input &input);

#endif
