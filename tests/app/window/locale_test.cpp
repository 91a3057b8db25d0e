// SPDX-License-Identifier: GPL-3.0-or-later
// The user's locale groups the digits of one field. No other text depends on it.
#include <QLabel>
#include <QLocale>
#include <clocale>
#include <cstdlib>

#include "model/engine_publish.h"
#include "volume_selection_support.h"

using app_tests::error_capture;
using app_tests::lines;
using app_tests::memory_volume;
using test_support::mib;
using test_support::missing_for_mounts;
using test_support::private_folder;

namespace {

class locale : public app_tests::volume_selection {
 protected:
    locale() : m_before(QLocale()) {}
    ~locale() override { QLocale::setDefault(m_before); }

    // Decimal points and ungrouped digits.
    void expect_points_everywhere_else() {
        const memory_volume volume(1536 * mib);
        const lines log = log_of_selecting(volume.path());
        ASSERT_EQ(log.size(), 12U);
        EXPECT_EQ(log.at(5), " - Capacity = 1.5 (GB)");
        EXPECT_EQ(log.at(6), " - Capacity = 1610612736 (Bytes)");
        EXPECT_EQ(selectedVolumeCapacityBytesText, "1610612736");
        EXPECT_EQ(selectedVolumeCapacityGBText, "1.500");
        EXPECT_EQ(selectedVolumeCapacityText, "1.5 GB");
        publish_write_period(1234.5, "MB", 56.75);
        tick();
        EXPECT_EQ(app().UI_writeSpeed->text(), "1234.50");
        EXPECT_EQ(app().UI_progressValue->text(), "56.8 %");
        EXPECT_EQ(app().UI_volumesFreeSpace->text(), "1.5 GB (1610612736 Bytes)");
        EXPECT_EQ(app().util_getSizeByByte(1536), "1.5 KB");
    }

    void expect_capacity(const QString &text) {
        const memory_volume volume(1536 * mib);
        EXPECT_TRUE(select(volume.path()));
        tick();
        EXPECT_EQ(app().UI_volumesCapacityGB->text(), text);
    }

 private:
    QLocale m_before;
};

}  // namespace

TEST_F(locale, groups_digits_of_capacity) {
    SKIP_IF_MISSING(missing_for_mounts());
    QLocale::setDefault(QLocale("en_US"));
    expect_capacity("1.5 GB (1,610,612,736 Bytes) (1610612736 Bytes)");
    QLocale::setDefault(QLocale("de_DE"));
    expect_capacity("1.5 GB (1.610.612.736 Bytes) (1610612736 Bytes)");
    QLocale::setDefault(QLocale("hi_IN"));
    expect_capacity("1.5 GB (1,61,06,12,736 Bytes) (1610612736 Bytes)");
    QLocale::setDefault(QLocale::c());
    expect_capacity("1.5 GB (1610612736 Bytes) (1610612736 Bytes)");
}

TEST_F(locale, of_qt_changes_no_other_number) {
    SKIP_IF_MISSING(missing_for_mounts());
    QLocale::setDefault(QLocale("de_DE"));
    expect_points_everywhere_else();
}

TEST_F(locale, of_system_changes_no_other_number) {
    SKIP_IF_MISSING(missing_for_mounts());
    const std::string localedef = test_support::find_program("localedef");
    SKIP_IF_MISSING(localedef.empty() ? "the program localedef is not installed" : "");
    const private_folder folder;
    const test_support::process_result made = test_support::run_program(
        {localedef, "-i", "de_DE", "-f", "UTF-8", folder.path() + "/de_DE.UTF-8"});
    SKIP_IF_MISSING(made.exit_status != 0 ? "no German locale can be made: " + made.err : "");
    setenv("LOCPATH", folder.path().c_str(), 1);
    const std::string before = std::setlocale(LC_ALL, nullptr);
    ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
    ASSERT_STREQ(std::localeconv()->decimal_point, ",");
    expect_points_everywhere_else();
    std::setlocale(LC_ALL, before.c_str());
}
