// What the fuzz targets share. A target is one function, LLVMFuzzerTestOneInput: it turns any bytes
// into a case for one part of the program and ends the process when a property does not hold.
// libFuzzer calls it with bytes that it makes up (scripts/check_fuzz), replay.cpp with the files of
// the target's corpus (every build with tests).
//
// A case must not depend on the cases before it, or a file of the corpus would prove nothing.
#ifndef TROVIK_TESTS_FUZZ_FUZZ_H
#define TROVIK_TESTS_FUZZ_FUZZ_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

// Ends the process, in every build type, unless the property holds.
#define FUZZ_REQUIRE(property)                                                                 \
    do {                                                                                       \
        if (!(property)) {                                                                     \
            std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #property); \
            std::abort();                                                                      \
        }                                                                                      \
    } while (0)

// The bytes of a case, taken from the front. What is taken beyond their end is 0.
class fuzz_input {
 public:
    fuzz_input(const uint8_t *data, size_t size) : m_data(data), m_left(size) {}

    bool empty() const { return m_left == 0; }

    uint8_t byte() {
        if (m_left == 0)
            return 0;
        --m_left;
        return *m_data++;
    }

    bool flag() { return (byte() & 1) != 0; }

    // Little-endian, of `bytes` bytes.
    uint64_t number(int bytes = 8) {
        uint64_t value = 0;
        for (int i = 0; i < bytes; ++i)
            value |= static_cast<uint64_t>(byte()) << (8 * i);
        return value;
    }

    int32_t number32() { return static_cast<int32_t>(static_cast<uint32_t>(number(4))); }

    // Up to and without the next `end`, which is taken too.
    std::string text_until(char end) {
        std::string text;
        while (m_left > 0) {
            const char next = static_cast<char>(byte());
            if (next == end)
                break;
            text += next;
        }
        return text;
    }

    std::string rest() {
        std::string text;
        while (m_left > 0)
            text += static_cast<char>(byte());
        return text;
    }

 private:
    const uint8_t *m_data;
    size_t m_left;
};

#endif
