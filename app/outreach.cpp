// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/outreach.h"

#include <QSettings>

QString outreach_escape(const QString &text) {
    // RFC 3986: keep all reserved characters but "#", "[" and "]", which would end the query or
    // mark an address. Qt keeps the unreserved characters.
    return QString::fromLatin1(QUrl::toPercentEncoding(text, "!$&'()*+,;=:/?@"));
}

QString outreach_query(const QString &product_tag, const QString &system_version,
                       const QString &codename) {
    return QStringLiteral("pname=%1&pversion=%2&oversion=%3&ocodename=%4")
        .arg(QStringLiteral("trovik"), product_tag, system_version, codename);
}

QUrl outreach_contact_url(const QString &escaped_query) {
    return QUrl::fromEncoded(contact_page + escaped_query.toLatin1());
}

static const char suppression_key[] = "FeedbackAlertSuppression";

// The names of the configuration folder and of the file in it.
static const char product[] = "trovik";

// Keeps the answer for this run when the configuration cannot be written.
static bool suppressed_in_this_run = false;

bool app_settings_feedback_suppressed() {
    if (suppressed_in_this_run)
        return true;
    // Stored texts count, too: "NO" means no.
    const QString stored = QSettings(QSettings::UserScope, product, product)
                               .value(suppression_key)
                               .toString()
                               .toLower();
    return stored == QLatin1String("true") || stored == QLatin1String("yes") ||
           stored == QLatin1String("1");
}

void app_settings_suppress_feedback() {
    QSettings settings(QSettings::UserScope, product, product);
    settings.setValue(suppression_key, true);
    settings.sync();
    suppressed_in_this_run = settings.status() != QSettings::NoError;
}
