// Test files of which another program keeps pages in memory: what is read then was never on the
// way from the medium.
#include <gtest/gtest.h>

#include "../support/locked_pages.h"
#include "cli_run.h"
#include "mounts.h"

using namespace system_tests;
using test_support::locked_pages;

static const char doubt[] =
    "What is read now may come from the computer's memory: 1.fff cannot be released from it, "
    "4096 bytes of it stay there\n";

// One line before the read phase, the verdict, the field and the status.
static void expect_doubted(const process_result &run, const nlohmann::json &report) {
    EXPECT_EQ(run.exit_status, 75) << run.out << run.err;
    const size_t line = run.out.find(doubt);
    EXPECT_NE(line, std::string::npos) << run.out;
    EXPECT_EQ(run.out.find("What is read now", line + 1), std::string::npos) << run.out;
    EXPECT_GT(run.out.find("Sectors:     OK"), line);
    EXPECT_EQ(report.at("verdict"), "unproven");
    EXPECT_TRUE(report.at("read").at("may_rest_on_memory"));
}

TEST(resident_pages, of_a_file_are_doubted_until_they_can_be_released) {
    SKIP_IF_MISSING(missing_for_images({"mkfs.ext4"}));
    const image_volume where(24 * mib, {"mkfs.ext4", "-q", "-F"}, {}, "ext4");
    run_cli({"write", where.path()});
    {
        const locked_pages locked(where.file("1.fff"));
        const cli_result run = run_cli_with_report({"read", where.path()});
        expect_doubted(run, run.json);
    }
    const cli_result run = run_cli_with_report({"read", where.path()});
    EXPECT_EQ(run.exit_status, 0) << run.out << run.err;
    EXPECT_EQ(run.out.find("What is read now"), std::string::npos) << run.out;
    EXPECT_FALSE(run.json.at("read").at("may_rest_on_memory"));
}

TEST(resident_pages, that_somebody_locks_in_the_middle_of_a_run_are_doubted) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=2M", "--write-rate=1M"});
    const report_file report;
    child_process run({TROVIK_CLI_PROGRAM, "test", where.path(), report.option()});
    ASSERT_TRUE(run.wait_for_output(" KB/s", std::chrono::seconds{60}));
    const locked_pages locked(where.file("1.fff"));
    const process_result ended = run.wait();
    expect_doubted(ended, report.read());
}
