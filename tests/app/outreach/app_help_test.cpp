// SPDX-License-Identifier: GPL-3.0-or-later
// The help's exact texts.
#include "app/TRAppDelegate.h"

#include <gtest/gtest.h>

#include <QByteArray>
#include <QCryptographicHash>
#include <QList>
#include <string>

namespace {

struct expected_help {
    help_topic topic;
    const char *title;
    int length;
    const char *sha256;  // of the text in UTF-8
};

constexpr expected_help all_help[] = {
    {help_topic::general, "Info", 1725,
     "b99ff57781eb264a733620876ea6c3b1f45537d116d17593d2fb9fb176a992b0"},
    {help_topic::hidden_files, "How to show hidden Files and Folders within Finder", 431,
     "de750169f23f0cc7a4b1d209e5cefa1983d10e821ffed9872ec4de735784de1e"},
    {help_topic::disable_spotlight, "Disable / Enable Spotlight", 195,
     "edec115c7d1daec725e43c1cbd21df52ac4e0269a6dbdb13c0439bbd9792722f"},
    {help_topic::remove_spotlight_data, "Remove Spotlight Data", 206,
     "c0573ddfbfad57982642872964037dc0de3bcd5a086e0decf6432824a848c457"},
    {help_topic::remove_trashes_data, "Remove Trashes Data", 157,
     "d568f3b1f0d58d93df969217912608bfd6d8f8d400c726bc3ee9fc72dc71f96d"},
    {help_topic::remove_logging_data, "Remove Logging Data", 215,
     "754d2171f19848fb8ea9e83e0a2973d06c08ac9f27de11e651b68888a0e41995"},
    {help_topic::disable_logging, "Disable Logging", 175,
     "9a9b735436710d58f53294a2a1c89270586dec8e1f6ff5054b15cc52866e58b7"},
};

QByteArray text_of(help_topic topic) {
    return help_text_of(topic).text;
}

}  // namespace

TEST(app_help, have_their_titles) {
    for (const expected_help &help : all_help)
        EXPECT_STREQ(help_text_of(help.topic).title, help.title);
}

TEST(app_help, match_digests) {
    for (const expected_help &help : all_help) {
        const QByteArray text = text_of(help.topic);
        EXPECT_EQ(text.size(), help.length) << help.title;
        EXPECT_EQ(QCryptographicHash::hash(text, QCryptographicHash::Sha256).toHex(), help.sha256)
            << help.title;
    }
}

TEST(app_help, keep_their_spelling) {
    const QByteArray text = text_of(help_topic::general);
    for (const char *word : {"performes", "rood folder", "supportet", "varry", "experices",
                             "differnces", "durring", "3th part"})
        EXPECT_TRUE(text.contains(word)) << word;
    EXPECT_TRUE(text.contains("read/write experices:- MicroSD to USB 2.0 adapter\n"));
    EXPECT_TRUE(text_of(help_topic::disable_spotlight).contains("USB memeory sticks"));
}

TEST(app_help, general_text_begins_with_empty_line_and_ends_without_break) {
    const QByteArray text = text_of(help_topic::general);
    const QList<QByteArray> lines = text.split('\n');
    ASSERT_GT(lines.size(), 4);
    EXPECT_EQ(lines.at(0), "");
    EXPECT_EQ(lines.at(1), "Trovik performes a full memory card write and read test.");
    EXPECT_EQ(lines.at(3), "     ");
    EXPECT_TRUE(text.endsWith("durring the whole process."));
}

TEST(app_help, say_twice_that_logging_is_not_implemented) {
    const QByteArray note = "NOTE: This function is not implemented now\n";
    for (const help_topic topic : {help_topic::remove_logging_data, help_topic::disable_logging}) {
        const QByteArray text = text_of(topic);
        EXPECT_TRUE(text.startsWith(note));
        EXPECT_TRUE(text.endsWith("\n\n" + note));
        EXPECT_EQ(text.count(note), 2);
    }
}
