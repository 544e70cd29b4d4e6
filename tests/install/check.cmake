# Installs the package, moves it, and builds and runs a project that finds it:
# with find_package in C++17 and C++20, and with pkg-config.
#
#   cmake -DBUILD=<build tree> -DWORK=<scratch folder> -DVERSION=<version>
#         -DCONFIG=<build type> -DGENERATOR=<generator> -DCOMPILER=<C++ compiler>
#         [-DTOOLCHAIN=<toolchain file>] [-DEMULATOR=<program that runs programs>]
#         -P check.cmake
function(run)
  execute_process(COMMAND ${ARGV} COMMAND_ECHO STDOUT COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(REMOVE_RECURSE ${WORK})
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/installed)
set(prefix ${WORK}/moved)
file(RENAME ${WORK}/installed ${prefix})

if(EMULATOR)
  set(expected bin/core.dll lib/libcore.dll.a)
  file(TO_NATIVE_PATH ${prefix}/bin dllFolder)
  set(ENV{WINEPATH} ${dllFolder})
else()
  string(REGEX MATCH "^[0-9]+" major ${VERSION})
  set(expected lib/libcore.so lib/libcore.so.${major} lib/libcore.so.${VERSION})
endif()
foreach(name IN LISTS expected ITEMS include/core/core.h)
  if(NOT EXISTS ${prefix}/${name})
    message(FATAL_ERROR "${name} is not installed")
  endif()
endforeach()

set(options -G ${GENERATOR} -DCMAKE_BUILD_TYPE=${CONFIG} -DCMAKE_CXX_COMPILER=${COMPILER}
  -DCMAKE_PREFIX_PATH=${prefix})
if(TOOLCHAIN)
  list(APPEND options -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN})
endif()
run(${CMAKE_COMMAND} -S ${CMAKE_CURRENT_LIST_DIR} -B ${WORK}/build ${options})
run(${CMAKE_COMMAND} --build ${WORK}/build)
if(EMULATOR)
  run(${EMULATOR} ${WORK}/build/consumer17.exe)
  run(${EMULATOR} ${WORK}/build/consumer20.exe)
else()
  run(${WORK}/build/consumer17)
  run(${WORK}/build/consumer20)

  set(ENV{PKG_CONFIG_PATH} ${prefix}/lib/pkgconfig)
  execute_process(COMMAND pkg-config --cflags --libs core
    OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  separate_arguments(flags UNIX_COMMAND "${flags}")
  run(${COMPILER} -std=c++17 ${CMAKE_CURRENT_LIST_DIR}/main.cpp -o ${WORK}/consumer ${flags})
  set(ENV{LD_LIBRARY_PATH} ${prefix}/lib)
  run(${WORK}/consumer)
endif()
