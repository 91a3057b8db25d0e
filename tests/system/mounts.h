// tests/app includes this name until it includes "support/volumes.h" itself.
#pragma once
#include "support/volumes.h"
namespace system_tests {
using namespace test_support;
}
