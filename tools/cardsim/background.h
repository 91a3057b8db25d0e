/* Going on in the background once there is something to go on with. */
#ifndef TROVIK_TOOLS_CARDSIM_BACKGROUND_H
#define TROVIK_TOOLS_CARDSIM_BACKGROUND_H

#include <functional>
#include <string>

namespace cardsim {

/* Runs work in a process of its own that outlives this one and its terminal. Work
 * gets a function to call once mount_point is mounted; its result is the process's
 * exit status, and until that call it prints its errors itself. Returns the exit
 * status for the calling process: 0 once the mount has answered. In the other
 * process it returns work's result. Call before there are threads. */
int background_run(const std::string &mount_point,
                   const std::function<int(const std::function<void()> &mounted)> &work);

}  // namespace cardsim

#endif
