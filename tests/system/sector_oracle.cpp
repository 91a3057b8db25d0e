// SPDX-License-Identifier: GPL-3.0-or-later
#include "sector_oracle.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ostream>

namespace system_tests {

constexpr int body_words = 63;

sector_tally &sector_tally::operator+=(const sector_tally &other) {
    ok += other.ok;
    corrupted += other.corrupted;
    changed += other.changed;
    overwritten += other.overwritten;
    return *this;
}

void PrintTo(const sector_tally &tally, std::ostream *out) {
    *out << "{ok " << tally.ok << ", corrupted " << tally.corrupted << ", changed " << tally.changed
         << ", overwritten " << tally.overwritten << "}";
}

static drand48_data seeded_by(std::uint64_t position) {
    drand48_data state = {};
    srand48_r(static_cast<long>(position & 0xFFFFFFFFU), &state);
    return state;
}

static std::uint64_t next_word(drand48_data &state) {
    long value = 0;
    lrand48_r(&state, &value);
    return static_cast<std::uint64_t>(value);
}

std::vector<unsigned char> oracle_sector(std::uint64_t position) {
    std::vector<unsigned char> sector(oracle_sector_bytes);
    drand48_data state = seeded_by(position);
    std::memcpy(sector.data(), &position, sizeof position);
    for (size_t i = 1; i <= body_words; ++i) {
        const std::uint64_t word = next_word(state);
        std::memcpy(sector.data() + i * sizeof word, &word, sizeof word);
    }
    return sector;
}

sector_kind oracle_judge(const unsigned char *sector, std::uint64_t position) {
    std::array<std::uint64_t, 1 + body_words> words{};
    std::memcpy(words.data(), sector, oracle_sector_bytes);
    drand48_data state = seeded_by(words[0]);
    int wrong = 0;
    for (size_t i = 1; i <= body_words && wrong < 3; ++i)
        wrong += words[i] != next_word(state) ? 1 : 0;
    if (wrong > 2)
        return sector_kind::corrupted;
    if (words[0] != position)
        return sector_kind::overwritten;
    return wrong == 0 ? sector_kind::ok : sector_kind::changed;
}

void forget_cached(int fd) {
    fdatasync(fd);
    posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
}

std::vector<sector_kind> oracle_judge_file(const std::string &path, int number) {
    std::vector<sector_kind> kinds;
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_GE(fd, 0) << path << ": " << std::strerror(errno);
    forget_cached(fd);
    std::uint64_t position = static_cast<std::uint64_t>(number - 1) * oracle_file_bytes;
    std::array<unsigned char, 128 * oracle_sector_bytes> buffer{};
    size_t held = 0;
    ssize_t got = 0;
    while ((got = read(fd, buffer.data() + held, buffer.size() - held)) > 0) {
        held += static_cast<size_t>(got);
        size_t done = 0;
        for (; done + oracle_sector_bytes <= held; done += oracle_sector_bytes) {
            kinds.push_back(oracle_judge(buffer.data() + done, position));
            position += oracle_sector_bytes;
        }
        std::memmove(buffer.data(), buffer.data() + done, held - done);
        held -= done;
    }
    EXPECT_EQ(got, 0) << path << ": " << std::strerror(errno);
    close(fd);
    return kinds;
}

sector_tally oracle_tally(const std::vector<sector_kind> &kinds) {
    sector_tally tally;
    for (const sector_kind kind : kinds) {
        tally.ok += kind == sector_kind::ok ? 1 : 0;
        tally.corrupted += kind == sector_kind::corrupted ? 1 : 0;
        tally.changed += kind == sector_kind::changed ? 1 : 0;
        tally.overwritten += kind == sector_kind::overwritten ? 1 : 0;
    }
    return tally;
}

std::string read_bytes(const std::string &path, bool from_medium) {
    std::string bytes;
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_GE(fd, 0) << path << ": " << std::strerror(errno);
    if (from_medium)
        forget_cached(fd);
    std::array<char, 65536> buffer{};
    ssize_t got = 0;
    while ((got = read(fd, buffer.data(), buffer.size())) > 0)
        bytes.append(buffer.data(), static_cast<size_t>(got));
    EXPECT_EQ(got, 0) << path << ": " << std::strerror(errno);
    close(fd);
    return bytes;
}

}  // namespace system_tests
