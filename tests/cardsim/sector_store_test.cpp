// SPDX-License-Identifier: GPL-3.0-or-later
/* The card's cells, in memory and in a file. */
#include "tools/cardsim/sector_store.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "test_bytes.h"

using cardsim::sector_store;

namespace {

class sector_store_in_file : public testing::Test {
 protected:
    void SetUp() override {
        std::string pattern = testing::TempDir() + "cardsim-store-XXXXXX";
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        m_folder = pattern;
        m_path = m_folder + "/backing";
    }
    void TearDown() override {
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
    }
    std::string m_folder;
    std::string m_path;
    std::string m_error;
};

void expect_keeps_bytes(sector_store &store) {
    const auto written = test_bytes(700000, 1);
    ASSERT_EQ(store.write(200001, written), 0);
    std::vector<std::byte> seen(written.size());
    ASSERT_EQ(store.read(200001, seen), 0);
    EXPECT_EQ(seen, written);
    std::vector<std::byte> before(200001, std::byte{9});
    ASSERT_EQ(store.read(0, before), 0);
    EXPECT_EQ(before, equal_bytes(before.size(), 0));
}

}  // namespace

TEST(sector_store, memory_keeps_bytes_and_zeros_elsewhere) {
    expect_keeps_bytes(*cardsim::sector_store_in_memory());
}

TEST(sector_store, memory_is_allocated_on_first_write) {
    const auto store = cardsim::sector_store_in_memory();
    const auto written = test_bytes(1000, 2);
    constexpr uint64_t far = uint64_t{1} << 60;
    ASSERT_EQ(store->write(far, written), 0);
    std::vector<std::byte> seen(written.size());
    ASSERT_EQ(store->read(far, seen), 0);
    EXPECT_EQ(seen, written);
}

TEST_F(sector_store_in_file, keeps_bytes_at_their_positions_in_file) {
    const auto store = cardsim::sector_store_in_file(m_path, 1 << 20, &m_error);
    ASSERT_TRUE(store) << m_error;
    expect_keeps_bytes(*store);
    EXPECT_EQ(std::filesystem::file_size(m_path), 1U << 20);
    std::ifstream file(m_path, std::ios::binary);
    file.seekg(200001);
    EXPECT_EQ(static_cast<std::byte>(file.get()), test_bytes(1, 1)[0]);
}

TEST_F(sector_store_in_file, refuses_file_with_contents) {
    std::ofstream(m_path) << "somebody's photographs";
    EXPECT_FALSE(cardsim::sector_store_in_file(m_path, 4096, &m_error));
    EXPECT_NE(m_error.find("not empty"), std::string::npos) << m_error;
    EXPECT_EQ(std::filesystem::file_size(m_path), 22U);
}

TEST_F(sector_store_in_file, accepts_empty_file) {
    std::ofstream create(m_path);
    create.close();
    EXPECT_TRUE(cardsim::sector_store_in_file(m_path, 4096, &m_error)) << m_error;
}

TEST_F(sector_store_in_file, refuses_fifo_without_blocking) {
    ASSERT_EQ(mkfifo(m_path.c_str(), 0600), 0);
    EXPECT_FALSE(cardsim::sector_store_in_file(m_path, 4096, &m_error));
    EXPECT_NE(m_error.find("not a regular file"), std::string::npos) << m_error;
}

TEST_F(sector_store_in_file, names_missing_folder_and_reason) {
    EXPECT_FALSE(cardsim::sector_store_in_file(m_folder + "/no/file", 4096, &m_error));
    EXPECT_NE(m_error.find("No such file or directory"), std::string::npos) << m_error;
    EXPECT_NE(m_error.find("/no/file"), std::string::npos) << m_error;
}

TEST_F(sector_store_in_file, backing_file_cut_short_gives_error) {
    const auto store = cardsim::sector_store_in_file(m_path, 4096, &m_error);
    ASSERT_TRUE(store) << m_error;
    std::filesystem::resize_file(m_path, 100);
    std::vector<std::byte> seen(512);
    EXPECT_EQ(store->read(0, seen), EIO);
}
