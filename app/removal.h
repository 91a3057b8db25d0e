// Removing something that may take a while, with the window still painting.
#ifndef TROVIK_APP_REMOVAL_H
#define TROVIK_APP_REMOVAL_H

#include <string>

#include "app/remove_tree.h"

class QWidget;

// Where the path of what is to be removed begins: an open folder, and what it is called.
struct removal_base {
    int folder = AT_FDCWD;
    std::string path;  // with a slash at its end, or empty
};

// Removes `path` as remove_tree does, on a thread of its own, and returns when that is
// done. Meanwhile the window paints but takes no input; when it lasts longer than a
// moment, a dialog over `parent` says what is going on. Names what it says and what
// could not be removed by the whole path. Main thread.
remove_tree_error removal_run(QWidget *parent, const std::string &path,
                              const removal_base &base = {});

#endif
