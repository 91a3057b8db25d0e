// tests/app includes this name until it includes "support/process.h" itself.
#pragma once
#include "support/process.h"
