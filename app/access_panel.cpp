// SPDX-License-Identifier: GPL-3.0-or-later
// The doubled blanks in titles and prompts are intended: manuals show them.
#include "app/access_panel.h"

#include <QDir>
#include <QUrl>
#include <string_view>

#include "app/file_panel.h"
#include "app/platform.h"
#include "report/number_text.h"

static QString quoted(const QString &words, const QString &text) {
    return QStringLiteral("%1 \"%2\"").arg(words, text);
}

static std::optional<QString> run(file_panel &panel) {
    if (!panel.run() || panel.selectedFiles().isEmpty())
        return std::nullopt;
    return panel.selectedFiles().constFirst();
}

std::optional<QString> access_panel_read_write(QWidget *parent, const QString &name,
                                               const QString &text) {
    file_panel panel(parent, quoted(QStringLiteral("Authorize RW for "), text));
    panel.set_message(
        quoted(QStringLiteral("You are about to authorize read and write access to"), text));
    panel.setAcceptMode(QFileDialog::AcceptSave);
    panel.setFileMode(QFileDialog::AnyFile);
    // The panel only grants access and overwrites nothing.
    panel.setOption(QFileDialog::DontConfirmOverwrite);
    panel.set_prompt(QStringLiteral("Authorize RW"));
    panel.set_name(name);
    return run(panel);
}

std::optional<QString> access_panel_read(QWidget *parent, const QString &name,
                                         const QString &text) {
    return access_panel_read_titled(
        parent, quoted(QStringLiteral("You are about to authorize read access to"), text),
        QStringLiteral("%1 %2").arg(QStringLiteral("Authorize read access to "), text), name);
}

std::optional<QString> access_panel_file(QWidget *parent, const QString &request,
                                         const QString &start) {
    file_panel panel(parent, request);
    panel.set_prompt(QStringLiteral("Allow in Sandbox"));
    panel.setFilter(QDir::AllDirs | QDir::Files | QDir::NoDotAndDotDot);
    // Qt's panel takes local URLs only.
    const QUrl place(start);
    if (platform_has_file_panels() || place.isLocalFile())
        panel.setDirectoryUrl(place);
    panel.setFileMode(QFileDialog::ExistingFile);
    return run(panel);
}

static bool is_one_of(std::string_view set, char character) {
    return set.find(character) != std::string_view::npos;
}

static size_t skip(std::string_view set, const std::string &format, size_t position) {
    while (position < format.size() && is_one_of(set, format[position]))
        ++position;
    return position;
}

// The output of a conversion without its argument.
static std::string filled_with_nothing(char conversion, const std::string &precision) {
    if (is_one_of("diouxXDOU", conversion))
        return "0";
    if (is_one_of("aAeEfFgG", conversion)) {
        int decimals = precision.empty() ? 6 : 0;
        for (const char digit : precision)
            decimals = decimals > 9 ? decimals : decimals * 10 + (digit - '0');
        return number_text_fixed(0.0, decimals > 17 ? 17 : decimals);
    }
    if (is_one_of("sS@p", conversion))
        return "(null)";
    if (is_one_of("cCn", conversion))
        return "";
    return {conversion};
}

std::string format_expand_without_arguments(const std::string &format) {
    std::string text;
    for (size_t i = 0; i < format.size(); ++i) {
        if (format[i] != '%') {
            text += format[i];
            continue;
        }
        size_t at = skip("#0- +'", format, i + 1);
        at = skip("0123456789*", format, at);
        std::string precision;
        if (at < format.size() && format[at] == '.') {
            const size_t begin = at + 1;
            at = skip("0123456789", format, begin);
            precision = "0" + format.substr(begin, at - begin);
        }
        at = skip("hlqLjzt", format, at);
        if (at < format.size())
            text += filled_with_nothing(format[at], precision);
        i = at;
    }
    return text;
}
