#include "inspect/program.h"

#include <core/foundation/text_encoding.h>

#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <iostream>

int wmain(int argc, wchar_t** argv) {
    for (std::FILE* const stream : {stdin, stdout, stderr}) {
        _setmode(_fileno(stream), _O_BINARY);
    }
    std::ios::sync_with_stdio(false);
    std::vector<std::string> arguments;
    for (int i = 1; i < argc; ++i) {
        core::ZYLCore_Unicode_Uft8(argv[i], arguments.emplace_back());
    }
    return inspect::Run(arguments, {std::cin, std::cout, std::cerr, _isatty(_fileno(stderr)) != 0});
}
