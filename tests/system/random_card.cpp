// SPDX-License-Identifier: GPL-3.0-or-later
#include "random_card.h"

#include <array>

#include "chance.h"
#include "sector_oracle.h"
#include "support/volumes.h"

namespace system_tests {

namespace {

// Composes a card, one kind of fault after the other.
class composer {
 public:
    explicit composer(std::uint64_t seed) : m_chance(seed) {
        // A test's smallest blocks have two sectors: an odd number of them ends a run.
        m_sectors = m_chance.between(1 * mib, 8 * mib) / oracle_sector_bytes;
        if (m_chance.percent(90))
            m_sectors -= m_sectors % 2;
        add("--size", m_sectors * oracle_sector_bytes);
        if (m_chance.percent(30))
            m_card.user_sectors = 2 * m_chance.between(1, m_sectors / 8);
        if (m_chance.percent(10))
            add_option("--seed", std::to_string(m_chance.between(1, 1000)));
    }

    random_card compose() {
        add_capacity();
        add_dying_flash();
        add_end_of_life();
        choose_runs();
        return m_card;
    }

 private:
    void add_option(const std::string &name, const std::string &value) {
        m_card.options.push_back(name + "=" + value);
    }
    void add(const std::string &name, std::uint64_t value) {
        add_option(name, std::to_string(value));
    }
    std::uint64_t sector() { return m_chance.between(m_card.user_sectors, m_sectors - 1); }

    void add_capacity() {
        if (m_chance.percent(50)) {
            const std::uint64_t real = m_chance.between(m_sectors / 8, m_sectors - 1);
            add("--real-size", real * oracle_sector_bytes);
            const std::string window =
                std::to_string(m_chance.between(1, real) * oracle_sector_bytes);
            const std::array<std::string, 5> kinds = {"wrap", "wrap-last=" + window, "drop-00",
                                                      "drop-ff", "garbage"};
            add_option("--beyond", m_chance.one_of(kinds));
        }
        if (m_chance.percent(20))
            add("--full-at",
                2 * m_chance.between(m_sectors / 4, m_sectors * 5 / 8) * oracle_sector_bytes);
        if (m_chance.percent(5))
            add("--statfs-free", m_chance.between(0, 2 * m_sectors) * oracle_sector_bytes);
        else if (m_chance.percent(1))
            m_card.options.emplace_back("--statfs-fails");
    }

    void add_dying_flash() {
        if (m_chance.percent(20)) {
            const std::uint64_t worn = sector();
            for (std::uint64_t bits = m_chance.between(1, 5); bits > 0; --bits)
                add_option("--flip",
                           std::to_string(m_chance.percent(60) ? worn : sector()) + ":" +
                               std::to_string(m_chance.between(0, 8 * oracle_sector_bytes - 1)));
        }
        m_flips_by_chance = m_chance.percent(15);
        if (m_flips_by_chance)
            add_option("--flip-rate",
                       m_chance.one_of(std::array<std::string, 4>{"0.0002", "0.001", "0.02", "1"}));
        if (m_chance.percent(15)) {
            for (std::uint64_t ranges = m_chance.between(1, 3); ranges > 0; --ranges) {
                const std::uint64_t dead = sector();
                add_option("--read-error", std::to_string(dead) + "-" +
                                               std::to_string(dead + m_chance.between(0, 20)));
            }
        }
        if (m_chance.percent(4))
            add("--write-error", sector());
    }

    // A card that is gone can only be asked for its cells, which know nothing of flips
    // by chance, nor where one file ends and the next begins.
    void add_end_of_life() {
        const std::uint64_t users = m_card.user_sectors * oracle_sector_bytes;
        const std::uint64_t bytes = m_chance.between(1, m_sectors * oracle_sector_bytes / 2);
        if (m_chance.percent(3))
            add("--lock-after", users + bytes);
        else if (m_chance.percent(2))
            add("--unplug-after-written", users + bytes);
        else if (m_chance.percent(5) && !m_flips_by_chance) {
            m_gone_while_read = true;
            add("--unplug-after-read", bytes);
        } else if (m_chance.percent(1))
            m_card.options.emplace_back("--fsync-fails");
        if (m_chance.percent(70))
            add_option("--unplug-error", "EIO");
    }

    void choose_runs() {
        if (m_chance.percent(30))
            m_card.number = m_chance.one_of(std::array{2, 4, 5, 8, 9, 1000, 1000000000});
        m_card.read_from = m_card.number;
        m_card.in_two_commands = m_chance.percent(25);
        if (m_card.in_two_commands && !m_gone_while_read && m_chance.percent(60))
            add_early_files();
        if (m_card.in_two_commands && m_chance.percent(10))
            m_card.read_from = static_cast<int>(m_chance.between(1, 5));
        if (!m_chance.percent(40))
            m_card.block_size = m_chance.one_of(std::array<std::string, 4>{
                "--block-size=2K", "--block-size=64K", "--block-size=1M", "--block-size=16M"});
    }

    void add_early_files() {
        int number = m_card.read_from;
        for (std::uint64_t files = m_chance.between(1, 4); files > 0; --files) {
            const std::uint64_t kept =
                2 * m_chance.between(1, m_sectors / 16) * oracle_sector_bytes;
            m_card.early.push_back({number, m_chance.percent(90) ? kept : kept - 100});
            number += m_chance.percent(70) ? 1 : static_cast<int>(m_chance.between(2, 5));
        }
        m_card.number = number;
    }

    chance m_chance;
    std::uint64_t m_sectors = 0;
    bool m_flips_by_chance = false, m_gone_while_read = false;
    random_card m_card;
};

}  // namespace

random_card compose_card(std::uint64_t seed) {
    return composer(seed).compose();
}

}  // namespace system_tests
