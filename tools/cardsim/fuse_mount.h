/* Mounting a card, answering for it, unmounting it, in the foreground or the background. */
#ifndef TROVIK_TOOLS_CARDSIM_FUSE_MOUNT_H
#define TROVIK_TOOLS_CARDSIM_FUSE_MOUNT_H

#include <functional>
#include <string>

#include "tools/cardsim/arguments.h"

namespace cardsim {

/* Mounts the card on options.mount_point (an absolute path), calls on_mounted,
 * then answers requests until the card is unmounted or the process is asked to end
 * by SIGINT, SIGTERM or SIGHUP; then it is unmounted. Returns true after that,
 * false with a one-line reason in error where it could not be mounted. */
bool fuse_mount_and_serve(const card_options &options, const std::function<void()> &on_mounted,
                          std::string *error);

/* Runs work in a process of its own that outlives this one and its terminal. Work
 * gets a function to call once mount_point is mounted; its result is the process's
 * exit status, and until that call it prints its errors itself. Returns the exit
 * status for the calling process: 0 once the mount has answered. In the other
 * process it returns work's result. Call before there are threads. */
int background_run(const std::string &mount_point,
                   const std::function<int(const std::function<void()> &mounted)> &work);

}  // namespace cardsim

#endif
