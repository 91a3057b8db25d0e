// SPDX-License-Identifier: GPL-3.0-or-later
// The console: its texts, their order and font. A user can copy but not change them.
#include <QApplication>
#include <QClipboard>
#include <QPlainTextDocumentLayout>
#include <QPlainTextEdit>
#include <QRegularExpression>
#include <QScrollBar>
#include <QTest>
#include <QTextBlock>
#include <thread>

#include "app/controller_state.h"
#include "model/engine_log.h"
#include "report/time_stamp.h"
#include "support.h"

using app_tests::wait_until;
using app_tests::window_test;

namespace {

class console_view : public window_test {
 protected:
    QPlainTextEdit &view() { return *app().UI_consoleOutput; }

    // Writes on another thread, which has ended when this returns.
    void write_on_jobs_thread(const std::vector<std::string> &texts) {
        std::thread job([&] {
            for (const std::string &text : texts)
                app().writeToConsole(text);
        });
        job.join();
    }

    // A tick during a test after this engine text.
    void tick_with(const std::string &news) {
        uiState = UI_STATE_TESTING;
        engine_log_append(news.c_str());
        tick();
    }

    bool is_at_end() {
        const QScrollBar *const bar = view().verticalScrollBar();
        return bar->maximum() > 0 && bar->value() == bar->maximum();
    }

    void expect_console_font() {
        const QFont asked = view().font();
        EXPECT_EQ(asked.families().value(0), "Menlo");
        EXPECT_EQ(asked.pointSizeF(), 11.0);
        EXPECT_TRUE(asked.fixedPitch());
        EXPECT_EQ(view().document()->defaultFont(), asked);
        // Where Menlo is missing, its substitute has equal advances, too. QFontInfo::fixedPitch()
        // is false for some fonts of equal advances.
        const QFontMetrics metrics(asked);
        EXPECT_EQ(metrics.horizontalAdvance("iiii"), metrics.horizontalAdvance("WWWW"));
    }
};

// Counts the work of laying out a text.
class counting_layout : public QPlainTextDocumentLayout {
 public:
    using QPlainTextDocumentLayout::QPlainTextDocumentLayout;

    QRectF blockBoundingRect(const QTextBlock &block) const override {
        ++blocks_measured;
        return QPlainTextDocumentLayout::blockBoundingRect(block);
    }

    mutable int blocks_measured = 0;
    int characters_changed = 0;

 protected:
    void documentChanged(int from, int removed, int added) override {
        characters_changed += removed + added;
        QPlainTextDocumentLayout::documentChanged(from, removed, added);
    }
};

}  // namespace

TEST_F(console_view, uses_menlo_11_before_and_after_text) {
    expect_console_font();
    app().writeToConsole("line\n");
    expect_console_font();
}

TEST_F(console_view, applies_font_with_empty_text) {
    app().writeToConsole("line\n");
    view().setFont(QFont("Serif", 20));
    app().writeToConsole("");
    EXPECT_EQ(console(), "line\n");
    expect_console_font();
}

TEST_F(console_view, has_no_text_in_any_other_font) {
    app().writeToConsole("one\ntwo\n");
    for (QTextBlock block = view().document()->begin(); block.isValid(); block = block.next())
        EXPECT_FALSE(block.charFormat().hasProperty(QTextFormat::FontFamilies));
    QTextCursor cursor(view().document());
    cursor.movePosition(QTextCursor::NextCharacter);
    EXPECT_EQ(cursor.charFormat().properties().size(), 0);
}

TEST_F(console_view, shows_texts_literally) {
    app().writeToConsole("a");
    app().writeToConsole("b\n\n");
    app().writeToConsole("100% <b>%s</b> &amp; \xC3\xBC \xE6\x97\xA5\xE6\x9C\xAC\n");
    app().writeToConsole("  indented\ttab\n");
    EXPECT_EQ(console(),
              "ab\n\n100% <b>%s</b> &amp; \xC3\xBC \xE6\x97\xA5\xE6\x9C\xAC\n  indented\ttab\n");
}

TEST_F(console_view, shows_job_text_through_event_loop) {
    write_on_jobs_thread({"one\n", "two\n"});
    EXPECT_EQ(console(), "");
    EXPECT_TRUE(wait_until([this] { return console() == "one\ntwo\n"; }));
}

TEST_F(console_view, shows_earlier_job_text_first) {
    app().writeToConsole("first\n");
    write_on_jobs_thread({"second\n", "third\n"});
    app().writeToConsole("fourth\n");
    EXPECT_EQ(console(), "first\nsecond\nthird\nfourth\n");
    QTest::qWait(20);
    EXPECT_EQ(console(), "first\nsecond\nthird\nfourth\n");
}

TEST_F(console_view, keeps_order_of_each_writing_thread) {
    constexpr int count = 2000;
    std::thread job([&] {
        for (int i = 0; i < count; ++i)
            app().writeToConsole("job " + std::to_string(i) + "\n");
    });
    for (int i = 0; i < count; ++i)
        app().writeToConsole("main " + std::to_string(i) + "\n");
    job.join();
    app().writeToConsole("");
    int next_of_job = 0;
    int next_of_main = 0;
    for (const std::string &line : console_lines()) {
        int &next = line[0] == 'j' ? next_of_job : next_of_main;
        ASSERT_EQ(line.substr(line.find(' ') + 1), std::to_string(next));
        ++next;
    }
    EXPECT_EQ(next_of_job, count);
    EXPECT_EQ(next_of_main, count);
}

TEST_F(console_view, cannot_be_edited) {
    app().writeToConsole("line\n");
    EXPECT_TRUE(view().isReadOnly());
    EXPECT_FALSE(view().isUndoRedoEnabled());
    EXPECT_FALSE(view().textInteractionFlags().testFlag(Qt::TextEditable));
    view().setFocus();
    QApplication::clipboard()->setText("from elsewhere");
    QTest::keyClicks(&view(), "typed");
    for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Backspace, Qt::Key_Delete})
        QTest::keyClick(&view(), key);
    for (const Qt::Key key : {Qt::Key_V, Qt::Key_X, Qt::Key_Z, Qt::Key_K}) {
        view().selectAll();
        QTest::keyClick(&view(), key, Qt::ControlModifier);
    }
    view().paste();
    view().cut();
    EXPECT_EQ(console(), "line\n");
}

TEST_F(console_view, copies_by_keyboard) {
    app().writeToConsole("one\ntwo\n");
    view().setFocus();
    QTest::keyClick(&view(), Qt::Key_A, Qt::ControlModifier);
    QTest::keyClick(&view(), Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->text(), "one\ntwo\n");
}

TEST_F(console_view, selects_by_mouse) {
    app().writeToConsole("word\n");
    const QTextCursor start(view().document());
    QTest::mouseDClick(view().viewport(), Qt::LeftButton, Qt::NoModifier,
                       view().cursorRect(start).center() + QPoint(4, 0));
    EXPECT_EQ(view().textCursor().selectedText(), "word");
}

TEST_F(console_view, keeps_selection_when_text_is_appended) {
    app().writeToConsole("one\ntwo\nthree\n");
    QTextCursor selection = view().textCursor();
    selection.setPosition(4);
    selection.setPosition(7, QTextCursor::KeepAnchor);
    view().setTextCursor(selection);
    app().writeToConsole("four\n");
    tick_with("five\n");
    EXPECT_EQ(view().textCursor().selectedText(), "two");
    EXPECT_EQ(console(), "one\ntwo\nthree\nfour\nfive\n");
}

TEST_F(console_view, does_not_extend_selection_at_end) {
    app().writeToConsole("one\n");
    const std::vector<std::pair<int, int>> ways = {{0, 4}, {4, 0}};
    for (const auto &[anchor, position] : ways) {
        QTextCursor selection = view().textCursor();
        selection.setPosition(anchor);
        selection.movePosition(position > anchor ? QTextCursor::End : QTextCursor::Start,
                               QTextCursor::KeepAnchor);
        view().setTextCursor(selection);
        const QString selected = view().textCursor().selectedText();
        app().writeToConsole("more\n");
        EXPECT_EQ(view().textCursor().selectedText(), selected);
        view().clear();
        app().writeToConsole("one\n");
    }
}

TEST_F(console_view, scrolls_to_end_with_tick_only) {
    for (int i = 0; i < 500; ++i)
        app().writeToConsole("line\n");
    view().verticalScrollBar()->setValue(0);
    app().writeToConsole("line\n");
    EXPECT_EQ(view().verticalScrollBar()->value(), 0);
    tick_with("");
    EXPECT_TRUE(is_at_end());
    view().verticalScrollBar()->setValue(0);
    tick_with("news\n");
    EXPECT_TRUE(is_at_end());
}

TEST_F(console_view, does_not_wrap_long_line) {
    EXPECT_EQ(view().lineWrapMode(), QPlainTextEdit::NoWrap);
    app().writeToConsole(std::string(2000, 'x') + "\n");
    EXPECT_GT(view().horizontalScrollBar()->maximum(), 0);
}

// Five lines a second for 24 hours.
TEST_F(console_view, lays_out_only_new_and_visible_lines_of_a_long_text) {
    constexpr int lines = 24 * 60 * 60 * 5;
    std::string text;
    for (int i = 0; i < lines; ++i)
        text += "    1792,        0,      0,  20480\n";
    QTextDocument document;
    auto *const layout = new counting_layout(&document);
    document.setDocumentLayout(layout);
    view().setDocument(&document);
    app().writeToConsole(text);
    tick_with("line\n");
    QCoreApplication::processEvents();
    layout->blocks_measured = 0;
    layout->characters_changed = 0;
    tick_with("line\n");
    QCoreApplication::processEvents();
    EXPECT_GT(layout->blocks_measured, 0);
    EXPECT_LT(layout->blocks_measured, lines / 100);
    EXPECT_GE(layout->characters_changed, 5);
    EXPECT_LT(layout->characters_changed, 100);
    EXPECT_EQ(document.blockCount(), lines + 3);
    view().setDocument(nullptr);
}

TEST_F(console_view, keeps_first_line_of_long_text) {
    app().writeToConsole("the first line\n");
    for (int i = 0; i < 20000; ++i)
        app().writeToConsole("line\n");
    EXPECT_EQ(view().document()->firstBlock().text(), "the first line");
    EXPECT_EQ(view().document()->blockCount(), 20002);
}

TEST_F(console_view, formats_sizes_with_one_decimal_and_binary_unit) {
    const std::vector<std::pair<double, QString>> sizes = {{0, "0.0 Byte"},
                                                           {1023, "1023.0 Byte"},
                                                           {1024, "1.0 KB"},
                                                           {1536, "1.5 KB"},
                                                           {1048575, "1024.0 KB"},
                                                           {1048576, "1.0 MB"},
                                                           {1073741824, "1.0 GB"},
                                                           {15931539456, "14.8 GB"},
                                                           {1099511627776.0, "1.0 TB"},
                                                           {1125899906842624.0, "1.0 PB"},
                                                           {1152921504606846976.0, "1.0 EB"}};
    for (const auto &[bytes, text] : sizes)
        EXPECT_EQ(app().util_getSizeByByte(bytes), text);
}

TEST_F(console_view, formats_local_time_with_padding) {
    const std::string before = time_stamp_now();
    const QString now = app().util_getNow();
    EXPECT_TRUE(
        QRegularExpression("^\\d{4}\\.\\d{2}\\.\\d{2} \\d{2}:\\d{2}:\\d{2}$").match(now).hasMatch())
        << now.toStdString();
    EXPECT_LE(before, now.toStdString());
    EXPECT_LE(now.toStdString(), time_stamp_now());
}
