// SPDX-License-Identifier: GPL-3.0-or-later
// The display of markers that other systems leave on a volume.
#include <QLabel>
#include <QPushButton>
#include <filesystem>

#include "volume_selection_support.h"

using app_tests::memory_volume;
using test_support::missing_for_mounts;

namespace {

struct marker {
    const char *name;
    const QLabel *field;
    const char *present, *absent;
    const std::uint8_t *flag;
    std::uint8_t flag_when_present;
};

class marker_display : public app_tests::volume_selection {
 protected:
    std::vector<marker> markers() {
        return {{".Spotlight-V100", app().UI_volumesSpotlightThere, "Found Spotlight data.",
                 "No Spotlight data found.", &spotlightDataFound, 1},
                {".metadata_never_index", app().UI_volumesSpotlightStatus, "Spotlight is disabled.",
                 "Spotlight is not disabled.", &spotlightNotDisabled, 0},
                {".Trashes", app().UI_volumesTrashes, "Found Trashes data.",
                 "No Trashes data found.", &trashesFound, 1},
                {".fseventsd/no_log", app().UI_volumesNoLog, "Disabled.", "Enabled.", &noLogPresent,
                 1}};
    }

    void expect_shown(const marker &checked, bool present) {
        EXPECT_EQ(checked.field->text(), present ? checked.present : checked.absent);
        EXPECT_EQ(*checked.flag,
                  present ? checked.flag_when_present : 1 - checked.flag_when_present)
            << checked.name;
    }
};

}  // namespace

TEST_F(marker_display, shows_every_combination) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume volume;
    choose(volume.path());
    for (unsigned combination = 0; combination < 16; ++combination) {
        unsigned bit = 1;
        for (const marker &each : markers()) {
            volume.remove(each.name);
            if ((combination & bit) != 0)
                volume.make_file(each.name);
            bit <<= 1;
        }
        tick();
        bit = 1;
        for (const marker &each : markers()) {
            expect_shown(each, (combination & bit) != 0);
            bit <<= 1;
        }
        EXPECT_EQ(app().UI_disableSpotlight_outlet->text(),
                  (combination & 2) != 0 ? "Enable Spotlight" : "Disable Spotlight");
    }
}

TEST_F(marker_display, treats_folders_like_files) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume volume;
    for (const marker &each : markers())
        volume.make_folder(each.name);
    choose(volume.path());
    for (const marker &each : markers())
        expect_shown(each, true);
}

TEST_F(marker_display, treats_dangling_links_as_absent) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume volume;
    std::filesystem::create_symlink("nowhere", volume.file(".Trashes"));
    std::filesystem::create_symlink(".Spotlight-V100", volume.file(".Spotlight-V100"));
    volume.make_file(".fseventsd");
    choose(volume.path());
    for (const marker &each : markers())
        expect_shown(each, false);
}

TEST_F(marker_display, changes_with_next_tick) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume volume;
    volume.make_file(".metadata_never_index");
    choose(volume.path());
    EXPECT_EQ(app().UI_volumesSpotlightStatus->text(), "Spotlight is disabled.");
    EXPECT_EQ(app().UI_disableSpotlight_outlet->text(), "Enable Spotlight");
    volume.remove(".metadata_never_index");
    EXPECT_EQ(app().UI_disableSpotlight_outlet->text(), "Enable Spotlight");
    tick();
    EXPECT_EQ(app().UI_volumesSpotlightStatus->text(), "Spotlight is not disabled.");
    EXPECT_EQ(app().UI_disableSpotlight_outlet->text(), "Disable Spotlight");
}
