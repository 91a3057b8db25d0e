// The places that a test must not fill by mistake: "/", the homes, the running program.
#pragma once

#include <string>
#include <vector>

#include "volume/volume.h"

// All places of this process, from its environment and the account database, each once. They need
// not exist. A home that the environment names is used only when it is an absolute path.
std::vector<volume_system_use> system_places_list();
