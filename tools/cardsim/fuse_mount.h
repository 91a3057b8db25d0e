/* Mounting a card, answering for it, unmounting it. */
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

}  // namespace cardsim

#endif
