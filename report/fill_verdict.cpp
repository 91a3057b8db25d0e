// The same reasons as in the verdict of a whole run, so that filling a volume
// today and reading it tomorrow come to what one run would have come to.
#include "report/fill_verdict.h"

#include "report/size_text.h"
#include "report/verdict.h"
#include "report/verdict_reasons.h"

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
