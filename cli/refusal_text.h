// SPDX-License-Identifier: GPL-3.0-or-later
// The command line's words for a run that may not begin.
#ifndef TROVIK_CLI_REFUSAL_TEXT_H
#define TROVIK_CLI_REFUSAL_TEXT_H

#include <string>

#include "runner/run_guard.h"

// One printable line without a line break, which also says what --force does about it.
std::string refusal_text(const run_refusal &refusal);

// "'path'", printable.
std::string shown_path(const std::string &path);

#endif
