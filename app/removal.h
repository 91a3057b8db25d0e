// Removing something that may take a while, with the window still painting.
#ifndef TROVIK_APP_REMOVAL_H
#define TROVIK_APP_REMOVAL_H

#include "app/remove_tree.h"

class QWidget;

// A dialog that flashes up explains nothing.
constexpr int removal_quiet_ms = 400;

// Removes the entry as remove_tree does, on a thread of its own, and returns when that is
// done. Meanwhile the window paints but takes no input. After `quiet_ms`, a dialog over
// `parent` shows what is removed. Main thread.
remove_tree_error removal_run(QWidget *parent, const remove_tree_entry &entry,
                              int quiet_ms = removal_quiet_ms);

#endif
