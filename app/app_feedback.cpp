// SPDX-License-Identifier: GPL-3.0-or-later
// The feedback question, rating, and sharing of results. The program sends nothing itself: it opens
// links.
#include <QDesktopServices>
#include <QMainWindow>
#include <QPushButton>
#include <QStringList>
#include <array>
#include <utility>

#include "app/TRAppDelegate.h"
#include "app/alert.h"
#include "app/controller_state.h"
#include "app/outreach.h"
#include "app/platform.h"

QString TRAppDelegate::UTIL_getOSCodenameForVersionNumber(const QString &version) const {
    static constexpr std::array<std::pair<const char *, const char *>, 13> codenames{{
        {"10.12", "Sierra"},
        {"10.11", "El Capitan"},
        {"10.10", "Yosemite"},
        {"10.9", "Mavericks"},
        {"10.8", "Mountain Lion"},
        {"10.7", "Lion"},
        {"10.6", "Snow Leopard"},
        {"10.5", "Leopard"},
        {"10.4", "Tiger"},
        {"10.3", "Panther"},
        {"10.2", "Jaguar"},
        {"10.1", "Puma"},
        {"10.0", "Cheetah"},
    }};
    const QStringList pieces = version.split(QLatin1Char('.'));
    // The table has only versions of two parts.
    if (pieces.size() < 2)
        return {};
    const QString key = pieces[0] + QLatin1Char('.') + pieces[1];
    for (const auto &[number, name] : codenames) {
        if (key == QLatin1String(number))
            return QString::fromLatin1(name);
    }
    return {};
}

void TRAppDelegate::buildFeedbackURL(const QString &systemVersion, const QString &codename) {
    const QString query =
        outreach_query(QString::fromStdString(productVersionTag), systemVersion, codename);
    diagnostic_log("d: kd_params: " + query.toStdString());
    const QString escaped = outreach_escape(query);
    diagnostic_log("d: kd_params_urlEncoded: " + escaped.toStdString());
    feedbackURL = outreach_contact_url(escaped);
}

void TRAppDelegate::feedback_ask(bool afterResult) {
    if (afterResult && app_settings_feedback_suppressed()) {
        diagnostic_log("Alert suppressed");
        return;
    }
    bool suppress = false;
    alert_request question{
        .style = alert_style::warning,
        .message = QStringLiteral("Leave Feedback"),
        .informative = QStringLiteral("How do you feel about trovik?"),
        .buttons = {QStringLiteral("Happy"), QStringLiteral("Unhappy"), QStringLiteral("Cancel")},
        .safe_answer = ALERT_THIRD_BUTTON};
    if (afterResult)
        question.check_box = QStringLiteral("Do not show this message again");
    question.checked = &suppress;
    const int answer = alert_run(window, question);
    if (suppress)
        app_settings_suppress_feedback();
    switch (answer) {
        case ALERT_FIRST_BUTTON:
            diagnostic_log("feedback_ask: Happy -> rateApp");
            feedback_ask_happy();
            break;
        case ALERT_SECOND_BUTTON:
            diagnostic_log("feedback_ask: Unhappy -> KD");
            QDesktopServices::openUrl(feedbackURL);
            break;
        case ALERT_THIRD_BUTTON:
            diagnostic_log("feedback_ask: Cancel -> ");
            break;
        default:
            break;
    }
}

void TRAppDelegate::feedback_ask_happy() {
    // b) comes before a): rating is the default, although the text lists it second.
    const int answer = alert_run(
        window,
        {.style = alert_style::warning,
         .message = QStringLiteral("Thank you !"),
         .informative = QStringLiteral(
             "We would love to know how we can make trovik even better.\n\n"
             "a) Connect with Kestrel Desk, only this way we can get in touch with you! We are "
             "listening.\n"
             "b) We would appreciate if you rate it on the App Store.\n"),
         .buttons = {QStringLiteral("b) Rate this App on the App Store"),
                     QStringLiteral("a) Make trovik even better"), QStringLiteral("Cancel")},
         .safe_answer = ALERT_THIRD_BUTTON});
    if (answer == ALERT_FIRST_BUTTON)
        rateApp();
    else if (answer == ALERT_SECOND_BUTTON)
        QDesktopServices::openUrl(feedbackURL);
}

void TRAppDelegate::rateApp() {
    QDesktopServices::openUrl(QUrl(QString::fromLatin1(store_app_page)));
}

void TRAppDelegate::UI_feedback() {
    feedback_ask(false);
}

void TRAppDelegate::UI_shareButton(QWidget *sender) {
    share_picker_show(sender != nullptr ? sender : window,
                      sender != nullptr ? sender->rect() : QRect(0, 0, 0, 0),
                      {QStringLiteral("I just used trovik to test my SD card. "),
                       QString::fromStdString(reportSummary), QString::fromLatin1(store_web_page)});
}
