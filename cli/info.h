// The command "info": a volume's properties, or the volumes that can be tested.
#ifndef TROVIK_CLI_INFO_H
#define TROVIK_CLI_INFO_H

#include <string>

// Prints the properties of the volume that `path` lies on, or, when it is empty,
// all mounted volumes that could be tested. Returns the exit status.
int info_run(const std::string &path);

#endif
