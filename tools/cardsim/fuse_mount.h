// SPDX-License-Identifier: GPL-3.0-or-later
/* Mounting a card, answering for it, unmounting it, in the foreground or the background. */
#ifndef TROVIK_TOOLS_CARDSIM_FUSE_MOUNT_H
#define TROVIK_TOOLS_CARDSIM_FUSE_MOUNT_H

#include <functional>
#include <string>

#include "tools/cardsim/arguments.h"

namespace cardsim {

/* Mounts the card on options.mount_point (an absolute path), calls on_mounted, then answers
 * requests until the card is unmounted, or until SIGINT, SIGTERM or SIGHUP, which unmount
 * it. Returns true after that, or false with a one-line reason in error if mounting
 * failed. */
bool fuse_mount_and_serve(const card_options &options, const std::function<void()> &on_mounted,
                          std::string *error);

/* Runs work in a child process that outlives this one and its terminal. work receives a
 * function to call once mount_point is mounted, prints its own errors before that call, and
 * returns the child's exit status. Returns the exit status for the calling process: 0 once
 * the mount answers. In the child, returns work's result. Call before there are threads. */
int background_run(const std::string &mount_point,
                   const std::function<int(const std::function<void()> &mounted)> &work);

}  // namespace cardsim

#endif
