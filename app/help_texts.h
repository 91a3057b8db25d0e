// The window's help: seven titles, each with its text. The texts are known to users
// and translators as they stand, spelling included, and are not to be tidied.
#ifndef TROVIK_APP_HELP_TEXTS_H
#define TROVIK_APP_HELP_TEXTS_H

enum class help_topic {
    general,
    hidden_files,
    disable_spotlight,
    remove_spotlight_data,
    remove_trashes_data,
    remove_logging_data,
    disable_logging,
};

struct help_text {
    const char *title;
    const char *text;
};

// Any thread.
help_text help_text_of(help_topic topic);

#endif
