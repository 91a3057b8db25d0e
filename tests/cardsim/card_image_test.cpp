// SPDX-License-Identifier: GPL-3.0-or-later
/* The card as a single file. */
#include "tools/cardsim/card_image.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

#include "practice_mount.h"
#include "test_bytes.h"

using test_support::process_result;

namespace {

class card_image : public practice_mount {
 protected:
    std::string image() const { return path(cardsim::CARD_IMAGE_NAME); }
    std::vector<std::byte> read_at(size_t offset, size_t length) const {
        const open_file file(image(), O_RDONLY);
        std::vector<std::byte> bytes(length);
        EXPECT_EQ(pread(file.fd(), bytes.data(), length, static_cast<off_t>(offset)),
                  static_cast<ssize_t>(length));
        return bytes;
    }
    void write_at(size_t offset, const std::vector<std::byte> &bytes) const {
        const open_file file(image(), O_WRONLY);
        ASSERT_EQ(pwrite(file.fd(), bytes.data(), bytes.size(), static_cast<off_t>(offset)),
                  static_cast<ssize_t>(bytes.size()));
    }
};

}  // namespace

TEST_F(card_image, is_one_file_with_sectors_of_card) {
    mount_card({"--image", "--size=1M", "--backing=" + beside("backing")});
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(mount_point())) {
        names.push_back(entry.path().filename());
    }
    EXPECT_EQ(names, std::vector<std::string>{"card.img"});
    EXPECT_EQ(std::filesystem::file_size(image()), MIB);
    EXPECT_EQ(read_at(0, MIB), equal_bytes(MIB, 0));
    const auto bytes = test_bytes(1536, 1);
    write_at(size_t{700} * 512, bytes);
    std::ifstream cells(beside("backing"));
    std::vector<char> seen(1536);
    cells.seekg(std::streamoff{700} * 512);
    cells.read(seen.data(), 1536);
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), std::as_bytes(std::span(seen)).begin()));
}

TEST_F(card_image, bypasses_page_cache) {
    mount_card({"--image", "--size=1M", "--real-size=512K", "--beyond=drop-ff"});
    const open_file file(image(), O_RDWR);
    const auto bytes = test_bytes(MIB, 2);
    size_t written = 0;
    ASSERT_EQ(write_in_small_pieces(file.fd(), bytes, &written), 0);
    const auto seen = read_at(0, MIB);
    EXPECT_TRUE(std::equal(seen.begin(), seen.begin() + MIB / 2, bytes.begin()));
    EXPECT_EQ(std::vector(seen.begin() + MIB / 2, seen.end()), equal_bytes(MIB / 2, 0xFF));
}

TEST_F(card_image, shows_changes_of_backing_file) {
    mount_card({"--image", "--size=1M", "--backing=" + beside("backing")});
    EXPECT_EQ(read_at(4096, 4), equal_bytes(4, 0));
    std::fstream cells(beside("backing"), std::ios::in | std::ios::out);
    cells.seekp(4096);
    cells << "UUUU";
    cells.flush();
    EXPECT_EQ(read_at(4096, 4), equal_bytes(4, 0x55));
}

TEST_F(card_image, has_faults_at_sector_numbers) {
    mount_card({"--image", "--size=1M", "--read-error=10", "--write-error=20", "--flip=30:0",
                "--misread=40:50", "--fsync-fails"});
    const open_file file(image(), O_RDWR);
    std::vector<std::byte> sector(512);
    const auto read_sector = [&](off_t number) {
        return pread(file.fd(), sector.data(), 512, number * 512) == 512 ? 0 : errno;
    };
    EXPECT_EQ(read_sector(9), 0);
    EXPECT_EQ(read_sector(10), EIO);
    EXPECT_EQ(read_sector(11), 0);
    EXPECT_EQ(pwrite(file.fd(), sector.data(), 512, off_t{20} * 512), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(read_sector(30), 0);
    EXPECT_EQ(sector[0], std::byte{1});
    write_at(size_t{50} * 512, equal_bytes(512, 0x77));
    EXPECT_EQ(read_sector(40), 0);
    EXPECT_EQ(sector, equal_bytes(512, 0x77));
    EXPECT_EQ(fsync(file.fd()), -1);
    EXPECT_EQ(errno, EIO);
}

TEST_F(card_image, is_gone_with_card) {
    mount_card({"--image", "--size=1M", "--unplug-after-written=4K", "--unplug-error=EIO"});
    const open_file file(image(), O_RDWR);
    const auto bytes = test_bytes(8192, 3);
    EXPECT_EQ(pwrite(file.fd(), bytes.data(), bytes.size(), 0), 4096);
    EXPECT_EQ(pwrite(file.fd(), bytes.data(), bytes.size(), 0), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(pread(file.fd(), std::vector<std::byte>(512).data(), 512, 0), -1);
}

TEST_F(card_image, is_only_file_and_keeps_size_and_name) {
    mount_card({"--image", "--size=1M"});
    errno = 0;
    EXPECT_EQ(open(path("a").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644), -1);
    EXPECT_EQ(errno, EPERM);
    EXPECT_EQ(mkdir(path("a").c_str(), 0755), -1);
    EXPECT_EQ(unlink(image().c_str()), -1);
    EXPECT_EQ(rename(image().c_str(), path("a").c_str()), -1);
    EXPECT_EQ(truncate(image().c_str(), 512), -1);
    EXPECT_EQ(errno, EPERM);
    EXPECT_EQ(std::filesystem::file_size(image()), MIB);
}

TEST_F(card_image, starts_with_given_contents_except_holes) {
    const auto bytes = test_bytes(4096, 4);
    {
        const open_file file(beside("backing"), O_WRONLY | O_CREAT);
        ASSERT_EQ(pwrite(file.fd(), bytes.data(), bytes.size(), 8192), 4096);
        ASSERT_EQ(ftruncate(file.fd(), MIB), 0);
    }
    // Zeros from the file's second half would overwrite its first.
    mount_card({"--image", "--size=1M", "--real-size=512K", "--beyond=wrap",
                "--contents=" + beside("backing"), "--unplug-after-written=1"});
    EXPECT_EQ(read_at(8192, 4096), bytes);
}

TEST_F(card_image, prints_one_line_for_contents_that_cannot_be_copied) {
    std::ofstream(beside("backing")) << std::string(MIB + 1, 'x');
    for (const std::string &name : {beside("backing"), beside("nowhere")}) {
        const process_result result =
            run_cardsim({mount_point(), "--image", "--size=1M", "--contents=" + name});
        EXPECT_EQ(result.exit_status, 1);
        EXPECT_EQ(result.err.find("trovik-cardsim: --contents: '" + name + "' cannot be "), 0U)
            << result.err;
        EXPECT_FALSE(is_mounted());
    }
}

TEST(card_image_parts, card_without_room_for_image_is_refused_with_reason) {
    cardsim::card_traits traits;
    traits.real_sectors = 4;
    cardsim::card_room room = {cardsim::card(std::move(traits), cardsim::sector_store_in_memory()),
                               cardsim::sector_allocator(3)};
    cardsim::file_tree tree(room, {.mode = S_IFDIR | 0700}, {});
    cardsim::card_options options;
    options.announced_sectors = 4;
    std::string error;
    EXPECT_FALSE(cardsim::card_image_add(room, tree, options, &error));
    EXPECT_EQ(error, "card.img of 2048 bytes cannot be made on the card: No space left on device");
}
