// SPDX-License-Identifier: GPL-3.0-or-later
// Sets a locale with a decimal comma for its lifetime.
#ifndef TROVIK_TESTS_REPORT_LOCALE_GUARD_H
#define TROVIK_TESTS_REPORT_LOCALE_GUARD_H

#include <clocale>
#include <string>

class comma_locale_guard {
 public:
    comma_locale_guard() : m_before(std::setlocale(LC_NUMERIC, nullptr)) {
        for (const char *name :
             {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "fr_FR.utf8", "de_DE"}) {
            if (std::setlocale(LC_NUMERIC, name) == nullptr)
                continue;
            m_found = *std::localeconv()->decimal_point == ',';
            if (m_found)
                return;
        }
    }
    ~comma_locale_guard() { std::setlocale(LC_NUMERIC, m_before.c_str()); }
    comma_locale_guard(const comma_locale_guard &) = delete;
    comma_locale_guard &operator=(const comma_locale_guard &) = delete;

    // False when the system has no such locale.
    bool found() const { return m_found; }

 private:
    std::string m_before;
    bool m_found = false;
};

#endif
