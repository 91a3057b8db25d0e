// The console and the two formats that the window's texts are made with.
//
// Every text of the console has the console's font because its document has no
// other: applying the font anew is a comparison, however long the text has grown.
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

// "Menlo", and where there is none what the platform takes for it.
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

// With a cursor of its own: what the user has selected stays selected, no more and
// no less. A selection that reached the end would take in what comes behind it.
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

// Not while a text is still on its way into the console: it would be lost with it.
void TRAppDelegate::showPendingFailure() {
    if (!m_pendingFailure)
        return;
    const std::string message = *m_pendingFailure;
    m_pendingFailure.reset();
    showEngineFailure(message);
    m_mailbox->answer();
}
