#pragma once

#include <cstddef>

/// How often this thread has called `operator new` so far.
std::size_t AllocationsSoFar();
