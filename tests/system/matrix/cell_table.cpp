#include "cell_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <iostream>
#include <map>

namespace system_tests {

namespace {

std::vector<std::string> rows;
std::vector<std::string> columns;
std::map<std::pair<std::string, std::string>, std::string> cells;

void print_line(const std::string &first, const std::vector<std::string> &others) {
    std::cout << "| " << first << " |";
    for (const std::string &text : others)
        std::cout << " " << text << " |";
    std::cout << "\n";
}

// Prints at the end of the program, when there is more than one cell to be compared.
class printed_table : public testing::Environment {
 public:
    void TearDown() override {
        if (cells.size() < 2)
            return;
        std::cout << "\n";
        print_line("The card", columns);
        print_line("---", std::vector<std::string>(columns.size(), "---"));
        for (const std::string &row : rows) {
            std::vector<std::string> line;
            for (const std::string &column : columns) {
                const auto cell = cells.find({row, column});
                line.push_back(cell == cells.end() ? "-" : cell->second);
            }
            print_line(row, line);
        }
    }
};

void keep_order(std::vector<std::string> &names, const std::string &name) {
    if (std::find(names.begin(), names.end(), name) == names.end())
        names.push_back(name);
}

}  // namespace

static const testing::Environment *const environment =
    testing::AddGlobalTestEnvironment(new printed_table);

void table_note(const std::string &row, const std::string &column, const std::string &what) {
    keep_order(rows, row);
    keep_order(columns, column);
    cells[{row, column}] = what;
}

std::string table_words(const cli_result &run) {
    const std::string status = run.signal_number == SIGABRT ? "abort"
                               : run.signal_number != 0
                                   ? "signal " + std::to_string(run.signal_number)
                                   : std::to_string(run.exit_status);
    const bool reported = run.json.is_object() && run.json.at("report").is_object();
    const std::string verdict =
        reported ? run.json.at("verdict").get<std::string>() : std::string("stopped");
    return verdict + " (" + status + ")";
}

}  // namespace system_tests
