// Whether files are still in the computer's memory after they were released from it.
//
// Releasing a file is advice: pages that are locked, mapped by another program or not written out
// yet stay where they are, and what is read next comes from there and not from the medium. The only
// way to know is to ask for each page. Nothing is ever read for that.
#pragma once

#include <string>
#include <vector>

#include "volume/volume.h"

// Releases the files of these names in the folder from memory, and looks whether any of their pages
// has stayed. True when none has; false and `reason` (one line) at the first file with one that
// stays for about a second, or of which that cannot be known: where asking failed, where this user
// neither owns the file nor may write it (of those the system tells nothing), on a file system
// that does not let files be mapped, and when there is no descriptor or memory left to open it. A
// file that is still being written out is waited for.
//
// Says true as well for a volume whose medium is memory, and for a file that is none or otherwise
// cannot be opened (whoever reads it will say so).
// Follows no link, waits for no FIFO's other end, reads no data. Any thread.
bool resident_pages_drop(const volume_info &volume, const std::string &folder,
                         const std::vector<std::string> &names, std::string &reason) noexcept;
