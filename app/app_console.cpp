// SPDX-License-Identifier: GPL-3.0-or-later
// The console, and the formats for sizes and times.
//
// The document has one font for all text. Applying it again costs one comparison, however long the
// text is.
#include <QFontDatabase>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QTextCursor>

#include "app/TRAppDelegate.h"
#include "report/number_text.h"
#include "report/time_stamp.h"

QString TRAppDelegate::util_getSizeByByte(double bytes) const {
    return QString::fromStdString(size_text_from_value(bytes));
}

QString TRAppDelegate::util_getNow() const {
    return QString::fromStdString(time_stamp_now());
}

void TRAppDelegate::writeToConsole(const std::string &text) {
    if (std::this_thread::get_id() != m_mainThread) {
        m_mailbox->send({mail_kind::console_text, text});
        return;
    }
    takeMail();
    appendToConsole(text);
    showPendingFailure();
}

// "Menlo", or else the platform's font of fixed width.
static QFont console_font() {
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    QStringList families{QStringLiteral("Menlo")};
    families += font.families();
    font.setFamilies(families);
    font.setStyleHint(QFont::Monospace);
    font.setFixedPitch(true);
    font.setPointSizeF(11.0);
    return font;
}

void TRAppDelegate::applyConsoleFont() {
    static const QFont font = console_font();
    if (UI_consoleOutput->font() != font || UI_consoleOutput->document()->defaultFont() != font)
        UI_consoleOutput->setFont(font);
}

// Uses a cursor of its own, so the user's selection stays as it is. Qt would extend a selection
// that reaches the end, so it is restored.
void TRAppDelegate::appendToConsole(const std::string &text) {
    QTextCursor users = UI_consoleOutput->textCursor();
    const int anchor = users.anchor();
    const int position = users.position();
    QTextCursor end(UI_consoleOutput->document());
    end.beginEditBlock();
    end.movePosition(QTextCursor::End);
    end.insertText(QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())));
    applyConsoleFont();
    end.endEditBlock();
    if (anchor == position || (users.anchor() == anchor && users.position() == position))
        return;
    users.setPosition(anchor);
    users.setPosition(position, QTextCursor::KeepAnchor);
    UI_consoleOutput->setTextCursor(users);
}

void TRAppDelegate::scrollConsoleToEnd() {
    QScrollBar *const bar = UI_consoleOutput->verticalScrollBar();
    bar->setValue(bar->maximum());
}

void TRAppDelegate::takeMail() {
    while (const std::optional<mail> message = m_mailbox->take()) {
        if (message->kind == mail_kind::console_text)
            appendToConsole(message->text);
        else
            m_pendingFailure = message->text;
    }
}

// Call it after all text before the failure is in the console.
void TRAppDelegate::showPendingFailure() {
    if (!m_pendingFailure)
        return;
    const std::string message = *m_pendingFailure;
    m_pendingFailure.reset();
    showEngineFailure(message);
    m_mailbox->answer();
}
