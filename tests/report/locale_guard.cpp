// Tries the locales that systems with any locale but C mostly have.
#include "locale_guard.h"

#include <clocale>

comma_locale_guard::comma_locale_guard() : m_before(std::setlocale(LC_NUMERIC, nullptr)) {
    for (const char *name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "fr_FR.utf8", "de_DE"}) {
        if (std::setlocale(LC_NUMERIC, name) == nullptr)
            continue;
        m_found = *std::localeconv()->decimal_point == ',';
        if (m_found)
            return;
    }
}

comma_locale_guard::~comma_locale_guard() {
    std::setlocale(LC_NUMERIC, m_before.c_str());
}
