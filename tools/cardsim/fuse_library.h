/* libfuse's low-level interface, in the one version this program is written for. */
#ifndef TROVIK_TOOLS_CARDSIM_FUSE_LIBRARY_H
#define TROVIK_TOOLS_CARDSIM_FUSE_LIBRARY_H

#define FUSE_USE_VERSION 35
#include <fuse_lowlevel.h>

#endif
