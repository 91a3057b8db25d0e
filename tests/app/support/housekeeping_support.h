// SPDX-License-Identifier: GPL-3.0-or-later
// Housekeeping on a chosen volume in memory: buttons, display, contents and log.
#ifndef TROVIK_TESTS_APP_HOUSEKEEPING_SUPPORT_H
#define TROVIK_TESTS_APP_HOUSEKEEPING_SUPPORT_H

#include <QLabel>
#include <QPushButton>
#include <QTest>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/controller_state.h"
#include "memory_volume.h"
#include "outreach_support.h"

namespace app_tests {

class housekeeping : public window_test {
 protected:
    using lines = std::vector<std::string>;
    static inline const lines nothing;
    static inline const lines removed = {"OK", "d: b: 1", "ERR: (null)", "-4"};

    void SetUp() override {
        SKIP_IF_MISSING(test_support::missing_for_mounts());
        m_volume = std::make_unique<memory_volume>();
        choose_quietly(m_volume->path());
    }
    // Drops the log of the selection.
    void choose_quietly(const std::string &path) {
        const error_capture log;
        choose(path);
    }

    memory_volume &volume() { return *m_volume; }
    std::string path_of(const std::string &name) const { return m_volume->file(name); }
    // The log of one click.
    lines click(QPushButton *button) {
        return log_of([&] {
            EXPECT_TRUE(button->isEnabled());
            QTest::mouseClick(button, Qt::LeftButton);
        });
    }
    lines toggle_spotlight() { return click(app().UI_disableSpotlight_outlet); }
    lines toggle_logging() { return click(app().UI_disableLogging_outlet); }
    lines remove_spotlight_data() { return click(app().UI_removeSpotlightData_outlet); }
    lines remove_trashes_data() { return click(app().UI_removeTrashesData_outlet); }

    QString spotlight_title() { return app().UI_disableSpotlight_outlet->text(); }
    QString logging_title() { return app().UI_disableLogging_outlet->text(); }
    // The display after its next tick.
    QString spotlight_status() { return shown(app().UI_volumesSpotlightStatus); }
    QString spotlight_data() { return shown(app().UI_volumesSpotlightThere); }
    QString trashes_data() { return shown(app().UI_volumesTrashes); }
    QString logging_status() { return shown(app().UI_volumesNoLog); }

 private:
    QString shown(const QLabel *label) {
        tick();
        return label->text();
    }

    std::unique_ptr<memory_volume> m_volume;
};

}  // namespace app_tests

#endif
