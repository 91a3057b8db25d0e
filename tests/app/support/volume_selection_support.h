// SPDX-License-Identifier: GPL-3.0-or-later
// Chooses volumes without the panel.
#ifndef TROVIK_TESTS_APP_VOLUME_SELECTION_SUPPORT_H
#define TROVIK_TESTS_APP_VOLUME_SELECTION_SUPPORT_H

#include <string>
#include <vector>

#include "app/controller_state.h"
#include "memory_volume.h"
#include "support.h"

namespace app_tests {

using lines = std::vector<std::string>;

class volume_selection : public window_test {
 protected:
    bool select(const std::string &folder) {
        return app().selectVolumeOfFolder(QString::fromStdString(folder));
    }

    // The log of choosing this folder.
    lines log_of_selecting(const std::string &folder) {
        const error_capture log;
        EXPECT_TRUE(select(folder));
        return log.lines();
    }

    static void expect_nothing_chosen() {
        EXPECT_EQ(uiState, UI_STATE_INIT);
        EXPECT_EQ(selectedVolumePath, "-");
        EXPECT_FALSE(selectedVolume.has_value());
        EXPECT_FALSE(selectedVolumeCapacity.has_value());
        EXPECT_EQ(selectedVolumeWritable, 0);
        EXPECT_EQ(volumeErrorMessage, "");
    }
};

}  // namespace app_tests

#endif
