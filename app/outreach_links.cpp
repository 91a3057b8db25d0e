#include "app/outreach_links.h"

QString outreach_escape(const QString &text) {
    // RFC 3986: everything reserved but "#", "[" and "]", which would end the query or
    // stand for an address. The unreserved characters stay without being named.
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
