// Whether access to files has to be asked for. The platform knows; tests may say
// otherwise.
#ifndef TROVIK_APP_SANDBOX_H
#define TROVIK_APP_SANDBOX_H

#include <optional>

// Main thread.
bool sandbox_is_active();

// Replaces the platform's answer; nullopt restores it. For tests.
void sandbox_override(std::optional<bool> active);

#endif
