#include "app/app_settings.h"

#include <QSettings>

static const char suppression_key[] = "FeedbackAlertSuppression";

// The name of the maker's folder and of the file in it.
static const char product[] = "trovik";

bool app_settings_feedback_suppressed() {
    return QSettings(QSettings::UserScope, product, product).value(suppression_key, false).toBool();
}

void app_settings_suppress_feedback() {
    QSettings settings(QSettings::UserScope, product, product);
    settings.setValue(suppression_key, true);
}
