// SPDX-License-Identifier: GPL-3.0-or-later
// The services that are the same on all systems.
#include "app/platform.h"

#include <syslog.h>

#include <QFile>
#include <QTextStream>
#include <QXmlStreamReader>
#include <cstdio>

#include "report/printable.h"

void diagnostic_log(const std::string &entry) {
    const bool ended = !entry.empty() && entry.back() == '\n';
    // Volume names may hold control characters, and standard error may be a terminal.
    std::string line = printable_text(entry.substr(0, entry.size() - (ended ? 1 : 0))) + '\n';
    // One call for the whole line, so lines of two threads do not mix.
    std::fwrite(line.data(), 1, line.size(), stderr);
    line.pop_back();
    syslog(LOG_USER | LOG_NOTICE, "%s", line.c_str());
}

// Set by tests, read by sandbox_is_active. Main thread.
static std::optional<bool> overridden;

bool sandbox_is_active() {
    return overridden.value_or(platform_is_sandboxed());
}

void sandbox_override(std::optional<bool> active) {
    overridden = active;
}

QString product_version_from_plist(const QString &path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QXmlStreamReader xml(&file);
    bool wanted = false;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        if (xml.name() == QLatin1String("key"))
            wanted = xml.readElementText() == QLatin1String("ProductVersion");
        else if (wanted && xml.name() == QLatin1String("string"))
            return xml.readElementText();
    }
    return {};
}

QString product_version_from_os_release(const QString &path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QString key = QStringLiteral("VERSION_ID=");
    QTextStream lines(&file);
    for (QString line; lines.readLineInto(&line);) {
        if (!line.startsWith(key))
            continue;
        QString value = line.mid(key.size()).trimmed();
        // The file holds shell assignments; a version needs no other quoting.
        if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
            value.back() == value.front())
            value = value.mid(1, value.size() - 2);
        return value;
    }
    return {};
}

product_version_found product_version(const QString &property_list) {
    if (QFile::exists(property_list))
        return {product_version_from_plist(property_list), true};
    for (const char *path : {"/etc/os-release", "/usr/lib/os-release"}) {
        if (QFile::exists(QString::fromLatin1(path)))
            return {product_version_from_os_release(QString::fromLatin1(path)), false};
    }
    return {};
}
