// SPDX-License-Identifier: GPL-3.0-or-later
// The verdict's texts, and its colours on light and dark windows.
#include "app/verdict_banner.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <QWidget>
#include <cmath>
#include <set>

#include "support.h"

namespace {

const std::vector<run_verdict> all_verdicts = {run_verdict::intact, run_verdict::data_lost,
                                               run_verdict::incomplete, run_verdict::nothing_tested,
                                               run_verdict::unproven};

// Relative luminance, and the contrast of two colours from 1 to 21 (WCAG 2.1).
double luminance(const QColor &color) {
    const auto linear = [](double part) {
        return part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) +
           0.0722 * linear(color.blueF());
}

double contrast(const QColor &one, const QColor &other) {
    const double lighter = std::max(luminance(one), luminance(other));
    const double darker = std::min(luminance(one), luminance(other));
    return (lighter + 0.05) / (darker + 0.05);
}

class verdict_view : public testing::Test {
 protected:
    verdict_view() {
        auto *const layout = new QVBoxLayout(&m_window);
        layout->addWidget(m_title);
        layout->addWidget(m_detail);
        layout->addWidget(m_more);
        m_banner = std::make_unique<verdict_banner>(m_title, m_detail, m_more);
        m_window.show();
    }

    void set_window_color(const QColor &color) {
        QPalette palette = m_window.palette();
        palette.setColor(QPalette::Window, color);
        m_window.setPalette(palette);
    }

    verdict_banner &banner() { return *m_banner; }
    QLabel &title() { return *m_title; }
    QLabel &detail() { return *m_detail; }
    QPushButton &more() { return *m_more; }
    QWidget &window() { return m_window; }
    QColor text_color() { return m_title->palette().color(QPalette::WindowText); }
    QColor usual_color() { return m_window.palette().color(QPalette::WindowText); }

 private:
    QWidget m_window;
    QLabel *m_title = new QLabel;
    QLabel *m_detail = new QLabel;
    QPushButton *m_more = new QPushButton;
    std::unique_ptr<verdict_banner> m_banner;
};

}  // namespace

TEST(verdict_colors, are_readable_on_light_or_dark_window) {
    EXPECT_NEAR(contrast(Qt::white, Qt::black), 21.0, 0.01);
    for (const char *window :
         {"#ffffff", "#f6f6f6", "#f0f0f0", "#efefef", "#ececec", "#e0e0e0", "#000000", "#171717",
          "#1e1e1e", "#232629", "#2a2e32", "#323232", "#353535", "#3b3b3b"}) {
        for (const run_verdict verdict : all_verdicts)
            EXPECT_GE(contrast(verdict_banner::color_of(verdict, QColor(window)), QColor(window)),
                      4.5)
                << window << " " << verdict_word(verdict);
    }
}

TEST(verdict_colors, are_readable_on_this_platform) {
    const QColor window = QApplication::palette().color(QPalette::Window);
    for (const run_verdict verdict : all_verdicts)
        EXPECT_GE(contrast(verdict_banner::color_of(verdict, window), window), 4.5);
}

TEST(verdict_colors, differ_for_intact_lost_and_other) {
    for (const char *window : {"#ffffff", "#202020"}) {
        std::set<QRgb> colors;
        for (const run_verdict verdict : all_verdicts)
            colors.insert(verdict_banner::color_of(verdict, QColor(window)).rgb());
        EXPECT_EQ(colors.size(), 3U);
    }
}

TEST_F(verdict_view, has_title_for_each_verdict) {
    EXPECT_EQ(verdict_banner::title_of(run_verdict::intact), "Intact");
    EXPECT_EQ(verdict_banner::title_of(run_verdict::data_lost), "Data lost");
    EXPECT_EQ(verdict_banner::title_of(run_verdict::incomplete), "Not all could be read");
    EXPECT_EQ(verdict_banner::title_of(run_verdict::unproven), "Not proven");
    EXPECT_EQ(verdict_banner::title_of(run_verdict::nothing_tested), "Nothing was tested");
    for (const run_verdict verdict : all_verdicts) {
        banner().show({.verdict = verdict, .reasons = {"a reason"}, .notes = {}});
        EXPECT_EQ(title().text(), verdict_banner::title_of(verdict));
        EXPECT_EQ(text_color(),
                  verdict_banner::color_of(verdict, window().palette().color(QPalette::Window)));
        EXPECT_TRUE(detail().text().endsWith("\na reason"));
    }
}

TEST_F(verdict_view, does_not_repeat_title_in_sentence) {
    banner().show({.verdict = run_verdict::data_lost, .reasons = {}, .notes = {}});
    const QString sentence = QString::fromUtf8(verdict_sentence(run_verdict::data_lost));
    ASSERT_TRUE(sentence.startsWith("Data lost: t"));
    EXPECT_EQ(detail().text(), "T" + sentence.mid(QString("Data lost: t").size()));
}

TEST_F(verdict_view, is_large_and_bold) {
    EXPECT_TRUE(title().font().bold());
    EXPECT_GT(title().font().pointSizeF(), 1.5 * detail().font().pointSizeF());
}

TEST_F(verdict_view, shows_reasons_before_notes) {
    banner().show({.verdict = run_verdict::incomplete, .reasons = {"reason"}, .notes = {"note"}});
    EXPECT_TRUE(detail().text().endsWith("\nreason\nnote"));
    EXPECT_EQ(banner().all_reasons(), "reason\n\nnote");
}

TEST_F(verdict_view, shows_button_for_more_reasons) {
    banner().show({.verdict = run_verdict::data_lost,
                   .reasons = {"one", "two", "three"},
                   .notes = {"four <b>&"}});
    EXPECT_TRUE(detail().text().endsWith("\none\ntwo"));
    EXPECT_TRUE(more().isVisible());
    EXPECT_EQ(banner().all_reasons(), "one\n\ntwo\n\nthree\n\nfour <b>&");
}

TEST_F(verdict_view, shows_two_reasons) {
    banner().show({.verdict = run_verdict::data_lost, .reasons = {"one", "two"}, .notes = {}});
    EXPECT_TRUE(detail().text().endsWith("\none\ntwo"));
    EXPECT_FALSE(more().isVisible());
}

TEST_F(verdict_view, names_tested_volume) {
    banner().show({.verdict = run_verdict::intact, .reasons = {}, .notes = {}}, "/media/my card");
    EXPECT_TRUE(detail().text().endsWith(" (/media/my card)"));
}

TEST_F(verdict_view, uses_window_colour_before_first_test) {
    EXPECT_EQ(title().text(), "No test yet");
    EXPECT_FALSE(detail().text().isEmpty());
    EXPECT_FALSE(more().isVisible());
    EXPECT_EQ(text_color(), usual_color());
}

TEST_F(verdict_view, hides_last_verdict_during_test) {
    banner().show(
        {.verdict = run_verdict::data_lost, .reasons = {"one", "two", "three"}, .notes = {}});
    EXPECT_NE(text_color(), usual_color());
    banner().show_running();
    EXPECT_EQ(title().text(), "Testing");
    EXPECT_FALSE(detail().text().contains("one"));
    EXPECT_FALSE(more().isVisible());
    EXPECT_EQ(banner().all_reasons(), "");
    EXPECT_EQ(text_color(), usual_color());
}

TEST_F(verdict_view, follows_dark_or_light_palette) {
    banner().show({.verdict = run_verdict::intact, .reasons = {}, .notes = {}});
    for (const char *window : {"#202020", "#f0f0f0", "#202020"}) {
        set_window_color(QColor(window));
        EXPECT_EQ(text_color(), verdict_banner::color_of(run_verdict::intact, QColor(window)));
        EXPECT_GE(contrast(text_color(), QColor(window)), 4.5);
    }
}

TEST_F(verdict_view, follows_palette_without_verdict) {
    QPalette dark = window().palette();
    dark.setColor(QPalette::Window, QColor("#202020"));
    dark.setColor(QPalette::WindowText, Qt::white);
    window().setPalette(dark);
    EXPECT_EQ(text_color(), QColor(Qt::white));
}
