// A number format with a decimal comma for as long as the guard lives.
#ifndef TROVIK_TESTS_REPORT_LOCALE_GUARD_H
#define TROVIK_TESTS_REPORT_LOCALE_GUARD_H

#include <string>

class comma_locale_guard {
 public:
    comma_locale_guard();
    ~comma_locale_guard();
    comma_locale_guard(const comma_locale_guard &) = delete;
    comma_locale_guard &operator=(const comma_locale_guard &) = delete;

    // False when this system has no such locale.
    bool found() const { return m_found; }

 private:
    std::string m_before;
    bool m_found = false;
};

#endif
