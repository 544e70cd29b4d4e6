// SIGBUS: memory of a file behind its end. A signal that is sent, and a handler from before
// that is told about it.

#include <sys/mman.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "logging/crash_ways.h"

namespace {

void OnAbort(int number, siginfo_t* info, void* context) {
    const bool isTold = number == SIGABRT && info->si_signo == number && info->si_pid == getpid();
    std::_Exit(isTold && context != nullptr ? 42 : 1);
}

const CrashWaysAdded kPosix({
    {"bus",
     [] {
         std::FILE* const empty = std::tmpfile();
         void* const memory =
             mmap(nullptr, 1, PROT_READ | PROT_WRITE, MAP_SHARED, fileno(empty), 0);
         *static_cast<volatile char*>(memory) = 1;
     }},
    {"sent", [] { kill(getpid(), SIGSEGV); }},
    {"before informed",
     [] {
         struct sigaction action {};
         action.sa_sigaction = OnAbort;
         action.sa_flags = SA_SIGINFO;
         sigaction(SIGABRT, &action, nullptr);
     }},
    {"informed", [] { std::abort(); }},
});

}  // namespace
