# Compile options of everything in this project; consumers get none of them.
add_library(core_options INTERFACE)
target_compile_features(core_options INTERFACE cxx_std_20)

if(MSVC)
  target_compile_options(core_options INTERFACE /W4 /permissive- /utf-8 /Zc:__cplusplus /fp:precise)
else()
  target_compile_options(core_options INTERFACE
    # Results must not depend on where a compiler chooses to fuse a multiply and an add.
    -ffp-contract=off
    -Wall -Wextra -Wpedantic
    -Wconversion -Wshadow -Wcast-align -Wcast-qual
    -Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast
    -Wundef -Wformat=2 -Wextra-semi
    $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond -Wlogical-op -Wsuggest-override>
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)
endif()

if(CORE_WERROR)
  target_compile_options(core_options INTERFACE $<IF:$<BOOL:${MSVC}>,/WX,-Werror>)
endif()

# Sanitizers go to the whole build, GoogleTest included.
if(CORE_SANITIZE)
  add_compile_options(-fsanitize=${CORE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${CORE_SANITIZE})
  # GCC's sanitizers make it see uninitialised members in std::regex and std::function.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(core_options INTERFACE -Wno-maybe-uninitialized)
  endif()
endif()

find_program(CORE_CCACHE ccache)
mark_as_advanced(CORE_CCACHE)
if(CORE_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CORE_CCACHE})
endif()
