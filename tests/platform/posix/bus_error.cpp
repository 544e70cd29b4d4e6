// SIGBUS: memory of a file behind its end.

#include <sys/mman.h>

#include <cstdio>

#include "logging/crash_ways.h"

namespace {

const CrashWaysAdded kBus({{"bus", [] {
                                std::FILE* const empty = std::tmpfile();
                                void* const memory = mmap(nullptr, 1, PROT_READ | PROT_WRITE,
                                                          MAP_SHARED, fileno(empty), 0);
                                *static_cast<volatile char*>(memory) = 1;
                            }}});

}  // namespace
