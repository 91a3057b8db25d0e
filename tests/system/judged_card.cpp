// SPDX-License-Identifier: GPL-3.0-or-later
#include "judged_card.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "cli_run.h"
#include "random_card.h"
#include "sector_oracle.h"
#include "support/volumes.h"

namespace system_tests {

namespace {

// The runs on one card, and the checker's verdict on them.
class judged_card {
 public:
    judged_card(random_card plan, verdict_counts *verdicts)
        : m_plan(std::move(plan)),
          m_verdicts(verdicts),
          m_cells(m_folder.path() + "/cells"),
          m_card(with_cells(m_plan.options, m_cells)) {}

    void run() {
        write_users_file();
        for (const early_file &file : m_plan.early) {
            // A write that failed may leave sectors behind that belong to no file's bytes.
            if (!fill(file.number))
                return read(m_plan.read_from);
            std::error_code ignored;  // on a card that is locked or gone
            std::filesystem::resize_file(m_card.file(std::to_string(file.number) + ".fff"),
                                         file.kept_bytes, ignored);
            if (ignored)
                return read(m_plan.read_from);
        }
        if (!m_plan.in_two_commands) {
            const bool ended_by_force =
                judge({"test", m_card.path(), start_option(m_plan.number), "--keep-files"},
                      m_plan.number);
            if (!ended_by_force)
                return;
        } else {
            fill(m_plan.number);
        }
        read(m_plan.read_from);
    }

 private:
    static std::vector<std::string> with_cells(std::vector<std::string> options,
                                               const std::string &cells) {
        options.push_back("--backing=" + cells);
        return options;
    }
    static std::string start_option(int number) { return "--start-at=" + std::to_string(number); }

    void write_users_file() {
        std::ofstream stream(m_card.file("user.bin"), std::ios::binary);
        const std::string bytes(m_plan.user_sectors * oracle_sector_bytes, 'u');
        stream << bytes << std::flush;
        EXPECT_TRUE(stream.good());
    }

    // Returns whether the run came to its end.
    bool fill(int number) {
        std::vector<std::string> words = {"write", m_card.path(), start_option(number)};
        if (!m_plan.block_size.empty())
            words.push_back(m_plan.block_size);
        return run_cli(words).signal_number == 0;
    }

    void read(int number) { judge({"read", m_card.path(), start_option(number)}, number); }

    bool is_unplugged() const { return access(m_card.file("user.bin").c_str(), F_OK) != 0; }

    // Returns whether the engine's process was ended by force.
    bool judge(std::vector<std::string> words, int start_at) {
        if (words[0] == "test" && !m_plan.block_size.empty())
            words.push_back(m_plan.block_size);
        const report_file report;
        words.push_back(report.option());
        const process_result run = run_cli(words);
        const int status = run.signal_number != 0 ? 128 + run.signal_number : run.exit_status;
        const nlohmann::json document = report.read();
        if (status == 77 && is_unplugged())
            return false;  // a card that is gone is no volume any more
        if (!document.is_object()) {
            ADD_FAILURE() << words[0] << " made no report; status " << status << "\n" << run.err;
            return false;
        }
        const bool forced = document.at("fatal").is_object();
        if (!forced)
            expect_whole_report(document, run.out);
        ask_checker(report, status, start_at);
        return forced;
    }

    void ask_checker(const report_file &report, int status, int start_at) {
        std::vector<std::string> words = {"python3",
                                          TROVIK_CARD_CHECKER,
                                          m_card.path(),
                                          m_cells,
                                          report.path(),
                                          std::to_string(status),
                                          std::to_string(m_plan.user_sectors),
                                          std::to_string(start_at)};
        words.insert(words.end(), m_plan.options.begin(), m_plan.options.end());
        const process_result checked = run_program(words);
        EXPECT_EQ(checked.exit_status, 0) << checked.out << checked.err;
        if (checked.exit_status == 0)
            ++(*m_verdicts)[lines_of(checked.out).at(0)];
    }

    random_card m_plan;
    verdict_counts *m_verdicts;
    private_folder m_folder{folder_in_memory};
    std::string m_cells;
    card m_card;
};

// The commands that reproduce it.
std::string commands_of(const random_card &plan, std::uint64_t seed) {
    std::string text = "seed " + std::to_string(seed) + ":\n  trovik-cardsim MOUNT";
    for (const std::string &option : plan.options)
        text += " " + option;
    if (plan.user_sectors != 0)
        text += "\n  head -c " + std::to_string(plan.user_sectors * oracle_sector_bytes) +
                " /dev/zero > MOUNT/user.bin";
    const std::string block = plan.block_size.empty() ? "" : " " + plan.block_size;
    for (const early_file &file : plan.early) {
        const std::string number = std::to_string(file.number);
        text.append("\n  trovik-cli write MOUNT --start-at=").append(number).append(block);
        text += "\n  truncate -s " + std::to_string(file.kept_bytes) + " MOUNT/" + number + ".fff";
    }
    text += plan.in_two_commands ? "\n  trovik-cli write"
                                 : "\n  trovik-cli test --medium-is-memory --keep-files";
    text += " MOUNT --start-at=" + std::to_string(plan.number) + block;
    return text + "\n  trovik-cli read --medium-is-memory MOUNT --start-at=" +
           std::to_string(plan.read_from) +
           (plan.in_two_commands ? "" : "  # when the test broke off");
}

}  // namespace

void judge_card(std::uint64_t seed, verdict_counts *verdicts) {
    const random_card plan = compose_card(seed);
    const testing::ScopedTrace trace(__FILE__, __LINE__, commands_of(plan, seed));
    judged_card(plan, verdicts).run();
}

std::string missing_for_random_cards() {
    if (find_program("python3").empty())
        return "the program python3 is not installed";
    if (!is_in_memory(folder_in_memory))
        return std::string(folder_in_memory) + " is not in memory";
    return missing_for_cards();
}

}  // namespace system_tests
