// SPDX-License-Identifier: GPL-3.0-or-later
// The system's version from both kinds of files.
#include "app/platform.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>
#include <functional>

namespace {

class product_version_file : public testing::Test {
 protected:
    QString written(const QByteArray &content) const {
        const QString path = m_folder.filePath("file");
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        EXPECT_EQ(file.write(content), content.size());
        return path;
    }
    QString missing() const { return m_folder.filePath("missing"); }

    QString of_plist(const QByteArray &body) const {
        return product_version_from_plist(
            written("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                    "<plist version=\"1.0\">\n<dict>\n" +
                    body + "</dict>\n</plist>\n"));
    }
    QString of_release(const QByteArray &content) const {
        return product_version_from_os_release(written(content));
    }

 private:
    QTemporaryDir m_folder;
};

}  // namespace

TEST_F(product_version_file, reads_version_of_property_list) {
    EXPECT_EQ(of_plist("\t<key>ProductBuildVersion</key>\n\t<string>15G31</string>\n"
                       "\t<key>ProductName</key>\n\t<string>Mac OS X</string>\n"
                       "\t<key>ProductUserVisibleVersion</key>\n\t<string>10.11.7</string>\n"
                       "\t<key>ProductVersion</key>\n\t<string>10.11.6</string>\n"
                       "\t<key>Other</key>\n\t<string>1</string>\n"),
              "10.11.6");
}

TEST_F(product_version_file, is_empty_for_property_list_without_key) {
    EXPECT_EQ(of_plist("<key>ProductName</key><string>Mac OS X</string>"), "");
    EXPECT_EQ(of_plist("<key>productversion</key><string>10.11.6</string>"), "");
    EXPECT_EQ(of_plist("<string>ProductVersion</string><string>10.11.6</string>"), "");
    EXPECT_EQ(of_plist(""), "");
}

TEST_F(product_version_file, does_not_take_text_of_next_key) {
    EXPECT_EQ(of_plist("<key>ProductVersion</key><integer>10</integer>"
                       "<key>ProductName</key><string>Mac OS X</string>"),
              "");
}

TEST_F(product_version_file, is_empty_for_other_file) {
    EXPECT_EQ(product_version_from_plist(missing()), "");
    EXPECT_EQ(product_version_from_plist(written("")), "");
    EXPECT_EQ(product_version_from_plist(written("ProductVersion=10.11.6\n")), "");
    EXPECT_EQ(product_version_from_plist(written(QByteArray("bplist00\xD1\x01\x02", 11))), "");
    EXPECT_EQ(
        product_version_from_plist(written("<plist><dict><key>ProductVersion</key><string>10.1")),
        "");
    EXPECT_EQ(product_version_from_plist(written("<plist><dict><key>ProductVersion</key>")), "");
}

TEST_F(product_version_file, reads_version_of_release_file) {
    EXPECT_EQ(of_release("PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\nNAME=\"Debian "
                         "GNU/Linux\"\nVERSION_ID=\"12\"\nVERSION=\"12 (bookworm)\"\nID=debian\n"),
              "12");
    EXPECT_EQ(of_release("VERSION_ID=22.04"), "22.04");
    EXPECT_EQ(of_release("VERSION_ID='15.5'\n"), "15.5");
    EXPECT_EQ(of_release("VERSION_ID=\"3.19.1\"\r\n"), "3.19.1");
}

TEST_F(product_version_file, is_empty_for_release_file_without_version) {
    EXPECT_EQ(of_release("NAME=Arch\nBUILD_ID=rolling\n"), "");
    EXPECT_EQ(of_release("#VERSION_ID=1\nMY_VERSION_ID=2\nVERSION_IDS=3\n"), "");
    EXPECT_EQ(of_release("VERSION_ID=\n"), "");
    EXPECT_EQ(of_release("VERSION_ID=\"\"\n"), "");
    EXPECT_EQ(of_release(""), "");
    EXPECT_EQ(product_version_from_os_release(missing()), "");
}

TEST_F(product_version_file, removes_matching_quotes_only) {
    EXPECT_EQ(of_release("VERSION_ID=\"12\n"), "\"12");
    EXPECT_EQ(of_release("VERSION_ID=\"\n"), "\"");
    EXPECT_EQ(of_release("VERSION_ID=\"12'\n"), "\"12'");
}

TEST_F(product_version_file, prefers_property_list) {
    const product_version_found found = product_version(
        written("<plist><dict><key>ProductVersion</key><string>10.11.6</string></dict></plist>"));
    EXPECT_EQ(found.version, "10.11.6");
    EXPECT_TRUE(found.is_listed);
}

TEST_F(product_version_file, reads_release_file_of_this_system) {
    for (const char *path : {"/etc/os-release", "/usr/lib/os-release"}) {
        if (!QFile::exists(path))
            continue;
        const product_version_found found = product_version(missing());
        EXPECT_EQ(found.version, product_version_from_os_release(path));
        EXPECT_FALSE(found.is_listed);
        return;
    }
    GTEST_SKIP() << "this system has no release file";
}
