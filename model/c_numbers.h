/* Numbers in the engine's texts have a decimal point, whatever the language of the
 * program around it. */
#ifndef TROVIK_MODEL_C_NUMBERS_H
#define TROVIK_MODEL_C_NUMBERS_H

#include <locale.h>
#if __has_include(<xlocale.h>)
#include <xlocale.h> /* where macOS keeps uselocale */
#endif

/* While it lives, this thread formats numbers as the C locale does. */
class c_numbers {
 public:
    c_numbers() : m_before(uselocale(c_locale())) {}
    ~c_numbers() { uselocale(m_before); }
    c_numbers(const c_numbers &) = delete;
    c_numbers &operator=(const c_numbers &) = delete;

 private:
    /* Made once and kept: a host may change its own locale at any time. */
    static locale_t c_locale() {
        static const locale_t made = newlocale(LC_ALL_MASK, "C", nullptr);
        return made;
    }

    locale_t m_before;
};

#endif
