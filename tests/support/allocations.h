#pragma once

#include <cstddef>

/// How often this thread has called `operator new` so far.
std::size_t AllocationsSoFar();

/// From now on, this thread's larger calls find no memory.
void RefuseAllocationsAbove(std::size_t bytes);
