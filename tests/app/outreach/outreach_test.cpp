// SPDX-License-Identifier: GPL-3.0-or-later
// The program's links in the form in which they are opened.
#include "app/outreach.h"

#include <gtest/gtest.h>

#include <QRegularExpression>

namespace {

QString escaped(const char *text) {
    return outreach_escape(QString::fromUtf8(text));
}

// The form that a browser gets.
QByteArray link_for(const QString &tag, const QString &version, const QString &codename) {
    return outreach_contact_url(outreach_escape(outreach_query(tag, version, codename)))
        .toEncoded();
}

}  // namespace

TEST(outreach, does_not_escape_allowed_characters) {
    const char *const kept =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~!$&'()*+,;=:/?@";
    EXPECT_EQ(escaped(kept), kept);
}

TEST(outreach, escapes_other_ascii) {
    const char *const hexadecimal = "0123456789ABCDEF";
    const QByteArray others = " \"#%<>[\\]^`{|}\x7f\n\t\x01";
    for (const char character : others) {
        const auto number = static_cast<unsigned char>(character);
        const QString wanted =
            QString('%') + QChar(hexadecimal[number / 16]) + QChar(hexadecimal[number % 16]);
        EXPECT_EQ(outreach_escape(QString(QChar(number))), wanted) << int{number};
    }
}

TEST(outreach, escapes_other_letters_as_utf_8) {
    EXPECT_EQ(escaped("Zürich"), "Z%C3%BCrich");
    EXPECT_EQ(escaped("日本"), "%E6%97%A5%E6%9C%AC");
    EXPECT_EQ(escaped("\xF0\x9F\x92\xBE"), "%F0%9F%92%BE");
}

TEST(outreach, escapes_escaped_text_again) {
    EXPECT_EQ(escaped("100%"), "100%25");
    EXPECT_EQ(escaped("%20"), "%2520");
    EXPECT_EQ(escaped("a b & c = (d) 100%"), "a%20b%20&%20c%20=%20(d)%20100%25");
    EXPECT_EQ(escaped(""), "");
}

TEST(outreach, query_names_product_and_system) {
    EXPECT_EQ(outreach_query("1.2-(45)", "10.11.6", "El Capitan"),
              "pname=trovik&pversion=1.2-(45)&oversion=10.11.6&ocodename=El Capitan");
    EXPECT_EQ(outreach_query("1.2-(45)", "", ""),
              "pname=trovik&pversion=1.2-(45)&oversion=&ocodename=");
}

TEST(outreach, does_not_expand_placeholders_in_query_parts) {
    EXPECT_EQ(outreach_query("%2", "%3 %4", "%1"),
              "pname=trovik&pversion=%2&oversion=%3 %4&ocodename=%1");
}

TEST(outreach, contact_link_keeps_escaped_query) {
    EXPECT_EQ(link_for("1.2-(45)", "10.11.6", "El Capitan"),
              QByteArray(contact_page) +
                  "pname=trovik&pversion=1.2-(45)&oversion=10.11.6&ocodename=El%20Capitan");
    EXPECT_EQ(link_for("1.0.0-(1)", QString::fromUtf8("100% Zürich #2"), "(a & b)+c"),
              QByteArray(contact_page) +
                  "pname=trovik&pversion=1.0.0-(1)&oversion=100%25%20Z%C3%BCrich%20%232"
                  "&ocodename=(a%20&%20b)+c");
}

TEST(outreach, keeps_every_character_in_link) {
    for (ushort number = 1; number < 0x250; ++number) {
        const QString text = outreach_escape(QString(QChar(number)));
        EXPECT_EQ(outreach_contact_url(text).toEncoded(), contact_page + text.toLatin1());
        EXPECT_TRUE(outreach_contact_url(text).isValid());
    }
}

TEST(outreach, contact_page_ends_before_query) {
    EXPECT_TRUE(QByteArray(contact_page).endsWith("?"));
    EXPECT_EQ(QUrl(contact_page).scheme(), "https");
}

TEST(outreach, store_pages_share_one_identifier) {
    const QUrl in_store(store_app_page);
    EXPECT_EQ(in_store.scheme(), "macappstore");
    EXPECT_EQ(in_store.path(), "/app/id" TROVIK_STORE_IDENTIFIER);
    EXPECT_EQ(in_store.query(), "mt=12");
    const QUrl on_the_web(store_web_page);
    EXPECT_EQ(on_the_web.scheme(), "https");
    EXPECT_EQ(on_the_web.path(), "/ch/app/trovik-check-speed-integrity/id" TROVIK_STORE_IDENTIFIER);
    EXPECT_EQ(on_the_web.query(), "l=en&mt=12");
    EXPECT_EQ(in_store.host(), on_the_web.host());
    EXPECT_TRUE(QRegularExpression("^[0-9]+$").match(TROVIK_STORE_IDENTIFIER).hasMatch());
}

// Until the maker has hosts, the links use reserved ones.
TEST(outreach, uses_reserved_hosts_only) {
    for (const char *link : {contact_page, store_app_page, store_web_page})
        EXPECT_TRUE(QUrl(link).host().endsWith(".example.org")) << link;
}
