// SPDX-License-Identifier: GPL-3.0-or-later
// Each label is one literal, so that a search for a line of the report finds it here.
#include "report/report_block.h"

#include "report/number_text.h"
#include "report/printable.h"
#include "report/time_stamp.h"

static std::string speed_text(double speed, const std::string &unit) {
    return number_text_fixed(speed, 2) + " " + unit + "/s";
}

static std::string capacity_gb_text(const report_facts &facts) {
    return number_text_fixed(report_facts_capacity_gb(facts), 3) + " GB";
}

static std::string stamped(const report_clock &clock, const std::string &text) {
    return time_stamp_format(clock()) + " - " + text + "\n";
}

std::time_t report_clock_system() {
    return std::time(nullptr);
}

std::array<report_row, report_row_count> report_block_rows(const report_facts &facts) {
    const std::string write_speed = speed_text(facts.write_speed, facts.write_speed_unit);
    const std::string read_speed = speed_text(facts.read_speed, facts.read_speed_unit);
    return {{
        {"volume_intact", " 1: Volume intact .............. : ", facts.intact ? "YES" : "NO"},
        {"volume_name", " 2: Volume name................. : ", facts.volume_path},
        {"capacity_gb", " 3: Capacity (GB)............... : ", capacity_gb_text(facts)},
        {"capacity_bytes",
         " 4: Capacity (Bytes)............ : ", std::to_string(facts.capacity_bytes) + " Bytes"},
        {"write_speed_average", " 5: Write speed average ........ : ", write_speed},
        {"read_speed_average", " 6: Read speed average ......... : ", read_speed},
        {"data_ok", " 7: DATA OK .................... : ", facts.data_ok},
        {"data_lost", " 8: DATA Lost .................. : ", facts.data_lost},
        {"data_corrupted", " 9: DATA Corrupted ............. : ", facts.data_corrupted},
        {"data_changed", "10: DATA Changed ............... : ", facts.data_changed},
        {"data_overwritten", "11: DATA Overwritten ........... : ", facts.data_overwritten},
        {"trovik_version", "12: trovik version ............ : ", facts.version},
    }};
}

std::vector<std::string> report_block_lines(const report_facts &facts, const report_clock &clock) {
    std::vector<std::string> lines;
    lines.push_back(stamped(clock, "**: Report Begin -----------------------------------------"));
    // A volume's name can be any bytes; control characters are escaped.
    for (const report_row &row : report_block_rows(facts))
        lines.push_back(stamped(clock, row.label + printable_text(row.value)));
    lines.push_back(stamped(clock, "**: Report End -----------------------------------------"));
    return lines;
}

std::string report_block_all_done(const report_clock &clock) {
    return stamped(clock, "all done.");
}

std::string report_block_summary(const report_facts &facts) {
    return "Volume capacity (GB) " + capacity_gb_text(facts) + "\nWrite speed average " +
           speed_text(facts.write_speed, facts.write_speed_unit) + "\nRead speed average " +
           speed_text(facts.read_speed, facts.read_speed_unit) + "\n";
}
