#include <core/core.h>

#include <cstdio>

int main() {
    std::printf("%s\n", CORE_VERSION_STRING);
}
