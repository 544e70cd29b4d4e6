# CLI11 for the programs with arguments. It is headers alone, so Windows programs take
# the same ones. They are linked into the build tree: the rest of /usr/include must not
# reach a cross-build.
find_path(CORE_CLI11 CLI/CLI.hpp NO_CMAKE_FIND_ROOT_PATH)
mark_as_advanced(CORE_CLI11)
if(NOT CORE_CLI11)
  message(FATAL_ERROR "core-demo and core-inspect need CLI11; without it, configure with "
    "CORE_BUILD_EXAMPLES=OFF and CORE_BUILD_TOOLS=OFF")
endif()
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/cli11)
file(CREATE_LINK ${CORE_CLI11}/CLI ${PROJECT_BINARY_DIR}/cli11/CLI SYMBOLIC)
add_library(core_cli11 INTERFACE)
target_include_directories(core_cli11 SYSTEM INTERFACE ${PROJECT_BINARY_DIR}/cli11)
