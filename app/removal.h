// Removing something that may take a while, with the window still painting.
#ifndef TROVIK_APP_REMOVAL_H
#define TROVIK_APP_REMOVAL_H

#include <string>

#include "app/remove_tree.h"

class QWidget;

// Removes `path` as remove_tree does, on a thread of its own, and returns when that is
// done. Meanwhile the window paints but takes no input; when it lasts longer than a
// moment, a dialog over `parent` says what is going on. Main thread.
remove_tree_error removal_run(QWidget *parent, const std::string &path);

#endif
