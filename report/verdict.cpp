// SPDX-License-Identifier: GPL-3.0-or-later
// The verdict follows from the reasons, so each rule exists once: a run without a reason
// against it is intact.
#include "report/verdict.h"

#include "report/number_text.h"
#include "report/verdict_reasons.h"

static void add_notes(const run_snapshot &run, reason_list &notes) {
    if (run.scope.start_index > 0)
        notes.push_back("Test files before " + run_snapshot_file_name(run.scope.start_index) +
                        " were not part of this run, as requested.");
    if (run.scope.has_read && !run.scope.has_write)
        notes.emplace_back(
            "This run did not fill the volume: it covers the test files, not the free space.");
}

verdict_result verdict_judge(const run_snapshot &run) {
    verdict_result result;
    reason_list &reasons = result.reasons;
    add_reasons_lost_data(run, reasons);
    add_reasons_nothing_tested(run, reasons);
    add_reasons_volume_gone(run, reasons);
    add_reasons_unfinished(run, reasons);
    add_reasons_stopped_files(run, reasons);
    add_reasons_missing_files(run, reasons);
    add_reasons_short_files(run, reasons);
    add_reasons_byte_counts(run, reasons);
    add_reasons_listing(run, reasons);
    add_reasons_space_left(run, reasons, result.notes);
    add_notes(run, result.notes);

    if (run_snapshot_lost_data(run))
        result.verdict = run_verdict::data_lost;
    else if (!run_snapshot_tested(run))
        result.verdict = run_verdict::nothing_tested;
    else if (!reasons.empty())
        result.verdict = run_verdict::incomplete;
    else
        result.verdict = run.scope.may_rest_on_memory ? run_verdict::unproven : run_verdict::intact;
    add_reasons_memory(run, reasons);
    return result;
}

const char *verdict_word(run_verdict verdict) {
    switch (verdict) {
        case run_verdict::intact:
            return "intact";
        case run_verdict::data_lost:
            return "data_lost";
        case run_verdict::incomplete:
            return "incomplete";
        case run_verdict::unproven:
            return "unproven";
        case run_verdict::nothing_tested:
            break;
    }
    return "nothing_tested";
}

const char *verdict_sentence(run_verdict verdict) {
    switch (verdict) {
        case run_verdict::intact:
            return "Intact: everything that was tested came back as it was written.";
        case run_verdict::data_lost:
            return "Data lost: this volume did not give back what was written to it.";
        case run_verdict::incomplete:
            return "Incomplete: what was read is intact, but not everything could be tested.";
        case run_verdict::unproven:
            return "Unproven: what was read is intact, but it may have come from the computer's "
                   "memory.";
        case run_verdict::nothing_tested:
            break;
    }
    return "Nothing tested: this run says nothing about the volume.";
}

int verdict_exit_status(run_verdict verdict) {
    // sysexits.h: EX_DATAERR, EX_IOERR and EX_TEMPFAIL (another try may end differently).
    constexpr int status_data_lost = 65;
    constexpr int status_not_tested = 74;
    constexpr int status_unproven = 75;
    switch (verdict) {
        case run_verdict::intact:
            return 0;
        case run_verdict::data_lost:
            return status_data_lost;
        case run_verdict::unproven:
            return status_unproven;
        case run_verdict::incomplete:
        case run_verdict::nothing_tested:
            break;
    }
    return status_not_tested;
}

// Uses the reasons of a whole run, so that filling today and reading tomorrow give the verdict
// that one run would have given.
fill_verdict fill_verdict_judge(const run_snapshot &run) {
    fill_verdict verdict;
    add_reasons_volume_gone(run, verdict.reasons);
    add_reasons_unfinished(run, verdict.reasons);
    add_reasons_listing(run, verdict.reasons);
    add_reasons_space_left(run, verdict.reasons, verdict.notes);
    if (verdict.reasons.empty() && run.write.bytes_written == 0)
        verdict.reasons.emplace_back("Nothing was written: the volume took no data.");
    verdict.filled = verdict.reasons.empty();
    const std::string files = std::to_string(run.write.files_created) +
                              (run.write.files_created == 1 ? " test file" : " test files") +
                              " with " + size_text_from_bytes(run.write.bytes_written);
    verdict.sentence = verdict.filled ? "Filled: " + files + " to be read back."
                                      : "Not filled: " + files + " were written.";
    return verdict;
}

int fill_verdict_exit_status(const fill_verdict &verdict) {
    return verdict.filled ? 0 : verdict_exit_status(run_verdict::incomplete);
}
