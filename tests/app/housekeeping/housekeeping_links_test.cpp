// SPDX-License-Identifier: GPL-3.0-or-later
// Symlinks on a volume may lead to the user's own files.
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "housekeeping_support.h"

using test_support::private_folder;

namespace fs = std::filesystem;

namespace {

using lines = std::vector<std::string>;

class housekeeping_links : public app_tests::housekeeping {
 protected:
    housekeeping_links() {
        fs::create_directories(users("folder/inside"));
        std::ofstream(users("folder/letter")) << "dear";
        std::ofstream(users("folder/no_log")) << "mine";
    }
    ~housekeeping_links() override {
        EXPECT_EQ(content_of("folder/letter"), "dear");
        EXPECT_EQ(content_of("folder/no_log"), "mine");
        EXPECT_TRUE(fs::is_directory(users("folder/inside")));
        EXPECT_FALSE(fs::exists(users("new"))) << "made through a link";
    }

    // In the user's folder outside the volume.
    std::string users(const std::string &name) const { return m_users.path() + "/" + name; }
    void link(const std::string &name, const std::string &target) {
        fs::create_symlink(users(target), path_of(name));
    }
    bool is_there(const std::string &name) const {
        return fs::symlink_status(path_of(name)).type() != fs::file_type::not_found;
    }

 private:
    std::string content_of(const std::string &name) const {
        std::ifstream file(users(name));
        return {std::istreambuf_iterator<char>(file), {}};
    }

    const private_folder m_users;
};

}  // namespace

TEST_F(housekeeping_links, removes_link_in_trash_and_keeps_its_target) {
    volume().make_folder(".Trashes/501");
    link(".Trashes/501/to folder", "folder");
    link(".Trashes/to file", "folder/letter");
    link(".Trashes/to nothing", "new");
    EXPECT_EQ(remove_trashes_data(), removed);
    EXPECT_EQ(volume().content(), nothing);
}

TEST_F(housekeeping_links, removes_marker_that_is_link) {
    link(".Trashes", "folder");
    link(".Spotlight-V100", "folder");
    link(".metadata_never_index", "folder/letter");
    EXPECT_EQ(remove_trashes_data(), removed);
    EXPECT_EQ(remove_spotlight_data(), removed);
    EXPECT_EQ(toggle_spotlight(), nothing);
    EXPECT_EQ(spotlight_title(), "Disable Spotlight");
    EXPECT_EQ(volume().content(), nothing);
}

TEST_F(housekeeping_links, removes_marker_that_is_dangling_link) {
    volume().make_folder(".fseventd");
    link(".Trashes", "new");
    link(".Spotlight-V100", "new");
    link(".metadata_never_index", "new");
    link(".fseventd/no_log", "new");
    EXPECT_EQ(remove_trashes_data(), removed);
    EXPECT_EQ(remove_spotlight_data(), removed);
    EXPECT_EQ(toggle_spotlight(), nothing);
    EXPECT_EQ(spotlight_title(), "Disable Spotlight");
    EXPECT_EQ(toggle_logging(), lines({"d: b 1"}));
    EXPECT_EQ(logging_title(), "Disable Logging");
    EXPECT_EQ(volume().content(), lines({".fseventd"}));
    EXPECT_FALSE(is_there(".fseventd/no_log"));
}

TEST_F(housekeeping_links, creates_nothing_behind_link) {
    fs::create_directory(users("empty"));
    link(".fseventd", "empty");
    EXPECT_EQ(toggle_logging(),
              lines({"d: b 0", "ERR: Can't write file " + path_of(".fseventd/no_log") + "."}));
    EXPECT_EQ(logging_title(), "Enable Logging");
    EXPECT_TRUE(fs::is_empty(users("empty")));
}

TEST_F(housekeeping_links, removes_nothing_behind_link) {
    link(".fseventd", "folder");
    EXPECT_EQ(toggle_logging(),
              lines({"d: b 0", "ERR: Can't write file " + path_of(".fseventd/no_log") + "."}));
}
