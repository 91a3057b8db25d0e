// What the program remembers beyond its own run: one answer.
#ifndef TROVIK_APP_APP_SETTINGS_H
#define TROVIK_APP_APP_SETTINGS_H

// Whether the question after each result is not to be asked any more. Kept in the
// user's configuration as "FeedbackAlertSuppression". Main thread.
bool app_settings_feedback_suppressed();
void app_settings_suppress_feedback();

#endif
