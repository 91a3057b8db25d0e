// The version of the system that the program runs on, as the system itself calls it.
#ifndef TROVIK_APP_PRODUCT_VERSION_H
#define TROVIK_APP_PRODUCT_VERSION_H

#include <QString>

// The "ProductVersion" of a property list, such as "10.11.6"; the empty text when the
// file cannot be read or does not say.
QString product_version_from_plist(const QString &path);

// The VERSION_ID of an os-release file, such as "12"; the empty text likewise.
QString product_version_from_os_release(const QString &path);

// Of this system: from its property list, and where there is none from its release
// file.
QString product_version();

#endif
