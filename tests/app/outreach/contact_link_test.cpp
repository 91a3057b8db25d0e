// SPDX-License-Identifier: GPL-3.0-or-later
// The link to the contact page is built at start-up from the versions of program and system.
#include <fstream>

#include "app/platform.h"
#include "feedback_support.h"
#include "whole_run.h"

using namespace app_tests;

using os_codename = feedback;

TEST_F(os_codename, uses_first_two_parts_of_version) {
    const std::vector<std::pair<QString, QString>> names = {
        {"10.12", "Sierra"},      {"10.11", "El Capitan"},   {"10.10", "Yosemite"},
        {"10.9", "Mavericks"},    {"10.8", "Mountain Lion"}, {"10.7", "Lion"},
        {"10.6", "Snow Leopard"}, {"10.5", "Leopard"},       {"10.4", "Tiger"},
        {"10.3", "Panther"},      {"10.2", "Jaguar"},        {"10.1", "Puma"},
        {"10.0", "Cheetah"},
    };
    for (const auto &[version, name] : names) {
        for (const char *rest : {"", ".0", ".6", ".6.12", ".", ".x"})
            EXPECT_EQ(app().UTIL_getOSCodenameForVersionNumber(version + rest), name);
    }
}

TEST_F(os_codename, is_empty_for_other_versions) {
    for (const char *version :
         {"10.13.1", "10.13",  "11.0",   "12",     "10",       "",       ".",      "10.",
          ".12",     "10..12", "10.012", "10.120", "10.1x",    " 10.12", "10.12 ", "010.12",
          "1.12",    "9.9",    "10,12",  "22.04",  "12.10.12", "-10.12"})
        EXPECT_EQ(app().UTIL_getOSCodenameForVersionNumber(version), "") << version;
}

namespace {

class contact_link : public feedback {
 protected:
    // The log and the link of a start-up on a system of this version.
    lines start_up_log() {
        return log_of([this] { accept_disclaimer(); });
    }
    static QString link() { return QString::fromLatin1(feedbackURL.toEncoded()); }

    // The three lines of start-up for this query, plain and escaped.
    static lines log_for(const std::string &codename, const std::string &query,
                         const std::string &escaped) {
        return {"os_codename " + codename, "d: kd_params: " + query,
                "d: kd_params_urlEncoded: " + escaped};
    }

    // Writes a property list of this version for start-up.
    void put_property_list(const std::string &version) {
        const std::string list = m_folder.path() + "/SystemVersion.plist";
        EXPECT_TRUE(std::ofstream(list) << "<plist><dict><key>ProductVersion</key><string>"
                                        << version << "</string></dict></plist>");
        app().systemPropertyList = QString::fromStdString(list);
    }

    void expect_with_property_list(const std::string &version, const std::string &codename,
                                   const std::string &rest, const std::string &escaped_rest) {
        put_property_list(version);
        expect_at_start_up(codename, rest, escaped_rest);
    }

    void expect_with_release_file(const std::string &release, const std::string &rest,
                                  const std::string &escaped_rest) {
        const covered_file system("/etc/os-release", release);
        expect_at_start_up("", rest, escaped_rest);
    }

 private:
    void expect_at_start_up(const std::string &codename, const std::string &rest,
                            const std::string &escaped_rest) {
        const std::string start = "pname=trovik&pversion=1.0.0-(1)&oversion=";
        EXPECT_EQ(start_up_log(), log_for(codename, start + rest, start + escaped_rest));
        EXPECT_EQ(link().toStdString(), contact_page + start + escaped_rest);
    }

    const test_support::private_folder m_folder;
};

}  // namespace

TEST_F(contact_link, has_system_version) {
    const auto [system, is_listed] = product_version(app().systemPropertyList);
    const std::string version = system.toStdString();
    const std::string codename =
        is_listed ? app().UTIL_getOSCodenameForVersionNumber(system).toStdString() : "";
    const lines log = start_up_log();
    ASSERT_EQ(log.size(), 3U);
    const std::string query =
        "pname=trovik&pversion=1.0.0-(1)&oversion=" + version + "&ocodename=" + codename;
    EXPECT_EQ(log[0], "os_codename " + codename);
    EXPECT_EQ(log[1], "d: kd_params: " + query);
    EXPECT_EQ(log[2], "d: kd_params_urlEncoded: " +
                          outreach_escape(QString::fromStdString(query)).toStdString());
    EXPECT_EQ("d: kd_params_urlEncoded: " + link().mid(QString(contact_page).size()).toStdString(),
              log[2]);
    EXPECT_TRUE(link().startsWith(contact_page));
}

TEST_F(contact_link, escapes_blank_in_codename) {
    expect_with_property_list("10.11.6", "El Capitan", "10.11.6&ocodename=El Capitan",
                              "10.11.6&ocodename=El%20Capitan");
}

TEST_F(contact_link, has_no_codename_on_other_system) {
    SKIP_IF_MISSING(missing_for_own_mounts());
    expect_with_release_file("VERSION_ID=\"10.1\"\n", "10.1&ocodename=", "10.1&ocodename=");
}

TEST_F(contact_link, escapes_strange_characters_of_version) {
    SKIP_IF_MISSING(missing_for_own_mounts());
    expect_with_release_file("VERSION_ID=\"10.2 100% Zürich #2 (a & b)\"\n",
                             "10.2 100% Zürich #2 (a & b)&ocodename=",
                             "10.2%20100%25%20Z%C3%BCrich%20%232%20(a%20&%20b)&ocodename=");
}

TEST_F(contact_link, has_no_codename_for_version_of_one_part) {
    expect_with_property_list("12", "", "12&ocodename=", "12&ocodename=");
}

TEST_F(contact_link, has_empty_values_without_version) {
    SKIP_IF_MISSING(missing_for_own_mounts());
    expect_with_release_file("NAME=x\n", "&ocodename=", "&ocodename=");
}

TEST_F(contact_link, does_not_change_after_start_up) {
    expect_with_property_list("10.9.5", "Mavericks", "10.9.5&ocodename=Mavericks",
                              "10.9.5&ocodename=Mavericks");
    put_property_list("10.10");
    const link_catcher catcher;
    answers user;
    user.then_press("Unhappy");
    press_button();
    then_thanked(user, press(improve));
    press_button();
    const QString link = QString(contact_page) +
                         "pname=trovik&pversion=1.0.0-(1)&oversion=10.9.5&ocodename=Mavericks";
    EXPECT_EQ(catcher.links(), QStringList({link, link}));
}
