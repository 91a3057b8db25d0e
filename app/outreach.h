// SPDX-License-Identifier: GPL-3.0-or-later
// The program's links, and the stored answer to the feedback question. The hosts and the store's
// identifier are reserved examples until the maker has real ones.
#ifndef TROVIK_APP_OUTREACH_H
#define TROVIK_APP_OUTREACH_H

#include <QString>
#include <QUrl>

#define TROVIK_STORE_IDENTIFIER "0000000000"

// The contact page of the maker's service, to which the query is appended.
constexpr char contact_page[] = "https://kestrel-desk.example.org/contact?";
// The product's page in the platform's store application.
constexpr char store_app_page[] =
    "macappstore://apps.example.org/app/id" TROVIK_STORE_IDENTIFIER "?mt=12";
// The same on the web.
constexpr char store_web_page[] =
    "https://apps.example.org/ch/app/trovik-check-speed-integrity/id" TROVIK_STORE_IDENTIFIER
    "?l=en&mt=12";

// `text` in UTF-8, with every character percent-escaped that a link cannot hold: a blank becomes
// "%20", a percent sign "%25"; "&", "=", "-", ".", "(" and ")" stay.
QString outreach_escape(const QString &text);

// The query that names the product and the system.
QString outreach_query(const QString &product_tag, const QString &system_version,
                       const QString &codename);

// The contact page with the escaped query.
QUrl outreach_contact_url(const QString &escaped_query);

// Whether the question after each result is suppressed. Kept in the user's configuration as
// "FeedbackAlertSuppression". Main thread.
bool app_settings_feedback_suppressed();
void app_settings_suppress_feedback();

#endif
