// The version of the system that the program runs on, as the system itself calls it.
#ifndef TROVIK_APP_PRODUCT_VERSION_H
#define TROVIK_APP_PRODUCT_VERSION_H

#include <QString>

// The "ProductVersion" of a property list, such as "10.11.6"; the empty text when the
// file cannot be read or does not say.
QString product_version_from_plist(const QString &path);

// The VERSION_ID of an os-release file, such as "12"; the empty text likewise.
QString product_version_from_os_release(const QString &path);

struct product_version_found {
    QString version;
    // Whether a property list told it. The names of releases are those of such systems
    // alone: another one's "10.1" is no Puma.
    bool is_listed = false;
};

// Of this system: from its property list, and where there is none from its release
// file.
product_version_found product_version(const QString &property_list);

#endif
