// SPDX-License-Identifier: GPL-3.0-or-later
// One function per rule of the JSON grammar.
#include "json_reader.h"

#include <algorithm>

#include "fuzz.h"
#include "utf8_model.h"

namespace {

constexpr int depth_max = 20;  // the documents have four levels

class reader {
 public:
    explicit reader(const std::string &document) : m_document(document) {}

    json_value read_all() {
        json_value value = read_value(0);
        skip_blanks();
        FUZZ_REQUIRE(m_at == m_document.size());
        return value;
    }

 private:
    char next() const { return m_at < m_document.size() ? m_document[m_at] : '\0'; }

    bool skip(char wanted) {
        if (m_at >= m_document.size() || next() != wanted)
            return false;
        ++m_at;
        return true;
    }

    void skip_blanks() {
        m_at = std::min(m_document.find_first_not_of(" \t\r\n", m_at), m_document.size());
    }

    json_value read_value(int depth) {
        FUZZ_REQUIRE(depth < depth_max);
        skip_blanks();
        json_value value;
        if (skip('{')) {
            value.is = json_value::kind::object;
            read_members(value, depth);
        } else if (skip('[')) {
            value.is = json_value::kind::list;
            read_items(value, depth);
        } else if (skip('"')) {
            value.is = json_value::kind::text;
            value.text = read_text();
        } else if (next() == '-' || is_digit()) {
            value.is = json_value::kind::number;
            value.text = read_number();
        } else {
            read_word(value);
        }
        return value;
    }

    void read_members(json_value &object, int depth) {
        skip_blanks();
        if (skip('}'))
            return;
        do {
            skip_blanks();
            FUZZ_REQUIRE(skip('"'));
            const std::string key = read_text();
            skip_blanks();
            FUZZ_REQUIRE(skip(':'));
            const bool is_new = object.members.emplace(key, read_value(depth + 1)).second;
            FUZZ_REQUIRE(is_new);
            skip_blanks();
        } while (skip(','));
        FUZZ_REQUIRE(skip('}'));
    }

    void read_items(json_value &list, int depth) {
        skip_blanks();
        if (skip(']'))
            return;
        do {
            list.items.push_back(read_value(depth + 1));
            skip_blanks();
        } while (skip(','));
        FUZZ_REQUIRE(skip(']'));
    }

    void read_word(json_value &value) {
        for (const std::string word : {"null", "true", "false"}) {
            if (m_document.compare(m_at, word.size(), word) != 0)
                continue;
            m_at += word.size();
            value.is = word == "null" ? json_value::kind::null : json_value::kind::boolean;
            value.text = word;
            return;
        }
        const bool starts_a_value = false;
        FUZZ_REQUIRE(starts_a_value);
    }

    bool is_digit() const { return next() >= '0' && next() <= '9'; }

    void read_digits() {
        FUZZ_REQUIRE(is_digit());
        while (is_digit())
            ++m_at;
    }

    std::string read_number() {
        const size_t start = m_at;
        skip('-');
        if (!skip('0'))  // no leading zeros
            read_digits();
        if (skip('.'))
            read_digits();
        if (skip('e') || skip('E')) {
            if (!skip('-'))
                skip('+');
            read_digits();
        }
        return m_document.substr(start, m_at - start);
    }

    std::string read_text() {
        std::string text;
        while (!skip('"')) {
            const std::string_view left = std::string_view(m_document).substr(m_at);
            const size_t length = utf8_model_length(left);
            FUZZ_REQUIRE(length > 0 && !is_hidden(left.substr(0, length)));
            m_at += length;
            if (left[0] == '\\')
                text += read_escape();
            else
                text += left.substr(0, length);
        }
        return text;
    }

    std::string read_escape() {
        static const std::string from = "\"\\/bfnrt";
        static const std::string to = "\"\\/\b\f\n\r\t";
        const size_t simple = from.find(next());
        FUZZ_REQUIRE(m_at < m_document.size());
        ++m_at;
        if (simple != std::string::npos)
            return std::string(1, to[simple]);
        FUZZ_REQUIRE(m_document[m_at - 1] == 'u');
        unsigned code = 0;
        for (int i = 0; i < 4; ++i, ++m_at) {
            const size_t digit = std::string("0123456789abcdefABCDEF").find(next());
            FUZZ_REQUIRE(digit != std::string::npos);
            code = code * 16 + static_cast<unsigned>(digit < 16 ? digit : digit - 6);
        }
        std::string character = utf8_of(code);
        FUZZ_REQUIRE(is_hidden(character));  // all others are written unescaped
        return character;
    }

    // The UTF-8 of a code point below 0x10000; no escaped character is beyond.
    static std::string utf8_of(unsigned code) {
        const auto follows = [](unsigned bits) { return static_cast<char>(0x80 | (bits & 0x3F)); };
        if (code < 0x80)
            return {static_cast<char>(code)};
        if (code < 0x800)
            return {static_cast<char>(0xC0 | code >> 6), follows(code)};
        return {static_cast<char>(0xE0 | code >> 12), follows(code >> 6), follows(code)};
    }

    const std::string &m_document;
    size_t m_at = 0;
};

}  // namespace

const json_value &json_value::operator[](const std::string &key) const {
    const auto found = members.find(key);
    FUZZ_REQUIRE(found != members.end());
    return found->second;
}

json_value json_read(const std::string &document) {
    return reader(document).read_all();
}
