#include "app/app_settings.h"

#include <QSettings>

static const char suppression_key[] = "FeedbackAlertSuppression";

// The name of the maker's folder and of the file in it.
static const char product[] = "trovik";

// For a configuration that cannot be written: what was chosen holds for this run at
// least.
static bool suppressed_in_this_run = false;

bool app_settings_feedback_suppressed() {
    if (suppressed_in_this_run)
        return true;
    // A text is taken for what it says: "NO" means no.
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
