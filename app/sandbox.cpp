#include "app/sandbox.h"

#include "app/platform.h"

// Set by tests, read by sandbox_is_active. Main thread.
static std::optional<bool> overridden;

bool sandbox_is_active() {
    return overridden.value_or(platform_is_sandboxed());
}

void sandbox_override(std::optional<bool> active) {
    overridden = active;
}
