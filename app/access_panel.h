// SPDX-License-Identifier: GPL-3.0-or-later
// The panels by which a sandboxed program asks for access to files.
#ifndef TROVIK_APP_ACCESS_PANEL_H
#define TROVIK_APP_ACCESS_PANEL_H

#include <QString>
#include <optional>
#include <string>

class QWidget;

// Each shows a panel and returns the path that the user confirmed, or nothing. Main thread.

// A save panel that asks for read and write access to `text`, with `name` in its name field.
std::optional<QString> access_panel_read_write(QWidget *parent, const QString &name,
                                               const QString &text);

// An open panel that asks for read access to a folder or a file.
std::optional<QString> access_panel_read(QWidget *parent, const QString &name, const QString &text);

// The same with these words, by the platform's panel. Use access_panel_read.
std::optional<QString> access_panel_read_titled(QWidget *parent, const QString &title,
                                                const QString &prompt, const QString &name);

// An open panel that asks for one file by the text `request`. It starts at the URL `start`; a plain
// path is no URL with a scheme.
std::optional<QString> access_panel_file(QWidget *parent, const QString &request,
                                         const QString &start);

// `format` with "%%" as "%" and every conversion filled with nothing: numbers are "0" (with their
// precision, "0.00" for "%.2f"), texts and objects "(null)". A percent sign without a conversion is
// left out. Any thread.
std::string format_expand_without_arguments(const std::string &format);

#endif
