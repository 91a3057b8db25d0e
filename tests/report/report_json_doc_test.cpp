// SPDX-License-Identifier: GPL-3.0-or-later
// docs/report-json.md must match the code: its example is the code's output, and its table names
// every field.
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "example_run.h"

using json = nlohmann::ordered_json;

static std::string description() {
    std::ifstream file(REPORT_JSON_DOCUMENT);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

static std::string example() {
    const std::string text = description();
    const std::string opening = "```json\n";
    const std::size_t begin = text.find(opening);
    if (begin == std::string::npos)
        return {};
    const std::size_t end = text.find("```", begin + opening.size());
    return text.substr(begin + opening.size(), end - begin - opening.size());
}

// Field names as the table writes them: "read.sectors.ok", "files[].name".
static void add_fields(const json &value, const std::string &path, std::set<std::string> &fields) {
    if (value.is_object()) {
        for (const auto &[key, inner] : value.items())
            add_fields(inner, std::string(path).append(path.empty() ? "" : ".").append(key),
                       fields);
    } else if (value.is_array() && !value.empty() && value.front().is_object()) {
        add_fields(value.front(), path + "[]", fields);
    } else {
        fields.insert(value.is_array() ? path + "[]" : path);
    }
}

TEST(report_json_doc, example_equals_code_output) {
    EXPECT_EQ(example(), report_json_text(counterfeit_document()));
}

TEST(report_json_doc, table_names_every_field) {
    report_json_input input = counterfeit_document();
    input.fatal = report_json_fatal{"ERR: Can't open file", 5};
    input.run.write.write_error = 5;
    std::set<std::string> fields;
    add_fields(json::parse(report_json_text(input)), "", fields);
    EXPECT_GT(fields.size(), 60U);
    const std::string text = description();
    for (const std::string &field : fields)
        EXPECT_NE(text.find("| `" + field + "` |"), std::string::npos) << field;
}
