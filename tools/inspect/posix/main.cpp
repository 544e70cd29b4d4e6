#include "inspect/program.h"

#include <unistd.h>

#include <iostream>

int main(int argc, char** argv) {
    std::ios::sync_with_stdio(false);
    return inspect::Run({argv + (argc > 0 ? 1 : 0), argv + argc},
                        {std::cin, std::cout, std::cerr, isatty(STDERR_FILENO) != 0});
}
