// SPDX-License-Identifier: GPL-3.0-or-later
// A strict reader of JSON documents (RFC 8259), independent of the library that writes them.
// Anything but exactly one well-formed value in valid UTF-8 ends the process, and so does a
// duplicate key in an object. Numbers are kept as text, so that none is rounded.
#ifndef TROVIK_TESTS_FUZZ_JSON_READER_H
#define TROVIK_TESTS_FUZZ_JSON_READER_H

#include <map>
#include <string>
#include <vector>

struct json_value {
    enum class kind { null, boolean, number, text, list, object };
    kind is = kind::null;
    std::string text;  // a text is decoded; a number or boolean is kept as written
    std::vector<json_value> items;
    std::map<std::string, json_value> members;

    // Ends the process when there is no such member.
    const json_value &operator[](const std::string &key) const;
    bool has(const std::string &key) const { return members.count(key) > 0; }
};

json_value json_read(const std::string &document);

#endif
