// SPDX-License-Identifier: GPL-3.0-or-later
#include "report/report_facts.h"

#include <utility>

#include "model/engine_status.h"

report_facts report_facts_collect(std::string volume_path, std::uint64_t capacity_bytes,
                                  std::string version) {
    report_facts facts;
    facts.intact = get_volume_intact() != 0;
    facts.volume_path = std::move(volume_path);
    facts.capacity_bytes = capacity_bytes;
    facts.write_speed = get_write_speed();
    facts.write_speed_unit = get_write_speed_unit();
    facts.read_speed = get_read_speed();
    facts.read_speed_unit = get_read_speed_unit();
    facts.data_ok = get_data_ok_text();
    facts.data_lost = get_data_lost_text();
    facts.data_corrupted = get_data_corrupted_text();
    facts.data_changed = get_data_changed_text();
    facts.data_overwritten = get_data_overwritten_text();
    facts.version = std::move(version);
    return facts;
}

double report_facts_capacity_gb(const report_facts &facts) {
    constexpr double bytes_per_gb = 1073741824.0;  // 2^30
    return static_cast<double>(facts.capacity_bytes) / bytes_per_gb;
}
