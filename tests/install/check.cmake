# Installs the package, moves it, and builds and runs projects of callers that
# find it, in folders of their own: with find_package in C++17, C++20 and C99, and
# with pkg-config.
#
#   cmake -DBUILD=<build tree> -DWORK=<scratch folder> -DVERSION=<version>
#         -DCONFIG=<build type> -DGENERATOR=<generator> -DCOMPILER=<C++ compiler>
#         [-DTOOLCHAIN=<toolchain file>] [-DEMULATOR=<program that runs programs>]
#         [-DPREFIX=<package that is unpacked already, in place of BUILD>]
#         -P check.cmake
function(run)
  execute_process(COMMAND ${ARGV} COMMAND_ECHO STDOUT COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(REMOVE_RECURSE ${WORK})
if(PREFIX)
  set(prefix ${PREFIX})
else()
  run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/installed)
  set(prefix ${WORK}/moved)
  file(RENAME ${WORK}/installed ${prefix})
endif()

# What has to be there, in whichever of the usual folders for libraries.
file(GLOB_RECURSE pkgConfigFile ${prefix}/core.pc)
cmake_path(GET pkgConfigFile PARENT_PATH pkgConfigFolder)
cmake_path(GET pkgConfigFolder PARENT_PATH libraryFolder)
if(EMULATOR)
  set(expected ${prefix}/bin/core.dll ${libraryFolder}/libcore.dll.a)
  file(TO_NATIVE_PATH ${prefix}/bin dllFolder)
  set(ENV{WINEPATH} ${dllFolder})
else()
  string(REGEX MATCH "^[0-9]+" major ${VERSION})
  set(expected ${libraryFolder}/libcore.so ${libraryFolder}/libcore.so.${major}
    ${libraryFolder}/libcore.so.${VERSION})
endif()
foreach(file IN LISTS expected ITEMS ${prefix}/include/core/core.h)
  if(NOT EXISTS ${file})
    message(FATAL_ERROR "${file} is not installed")
  endif()
endforeach()

set(options -G ${GENERATOR} -DCMAKE_BUILD_TYPE=${CONFIG} -DCMAKE_PREFIX_PATH=${prefix})
if(TOOLCHAIN)
  list(APPEND options -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN})
endif()
file(COPY ${CMAKE_CURRENT_LIST_DIR}/consumer ${CMAKE_CURRENT_LIST_DIR}/consumer_in_c
  ${CMAKE_CURRENT_LIST_DIR}/../../examples/first_project DESTINATION ${WORK})
function(build project)
  run(${CMAKE_COMMAND} -S ${WORK}/${project} -B ${WORK}/${project}/build ${options} ${ARGN})
  run(${CMAKE_COMMAND} --build ${WORK}/${project}/build)
endfunction()
build(consumer -DCMAKE_CXX_COMPILER=${COMPILER})
build(consumer_in_c)
build(first_project -DCMAKE_CXX_COMPILER=${COMPILER})
foreach(program IN ITEMS consumer/build/consumer17 consumer/build/consumer20
    consumer_in_c/build/consumer_in_c first_project/build/first_project)
  if(EMULATOR)
    run(${EMULATOR} ${WORK}/${program}.exe WORKING_DIRECTORY ${WORK})
  else()
    run(${WORK}/${program} WORKING_DIRECTORY ${WORK})
  endif()
endforeach()
file(STRINGS ${WORK}/column.json curve REGEX "\"keyframeSets\"")
file(GLOB logs ${WORK}/log/first*.log)
if(NOT curve OR NOT logs)
  message(FATAL_ERROR "The first project has left no curve or no log in ${WORK}")
endif()

if(NOT EMULATOR)
  set(ENV{PKG_CONFIG_PATH} ${pkgConfigFolder})
  execute_process(COMMAND pkg-config --modversion core
    OUTPUT_VARIABLE version OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  if(NOT version STREQUAL VERSION)
    message(FATAL_ERROR "core.pc: version ${version}, not ${VERSION}")
  endif()
  execute_process(COMMAND pkg-config --cflags --libs core
    OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  separate_arguments(flags UNIX_COMMAND "${flags}")
  set(ENV{LD_LIBRARY_PATH} ${libraryFolder})
  run(${COMPILER} -std=c++17 ${WORK}/consumer/main.cpp -o ${WORK}/consumer_pc ${flags})
  run(${WORK}/consumer_pc)
  run(${COMPILER} -std=c++17 ${WORK}/first_project/main.cpp -o ${WORK}/first_project_pc ${flags} -pthread)
  run(cc -std=c99 -pedantic-errors ${WORK}/consumer_in_c/main.c -o ${WORK}/consumer_in_c_pc ${flags})
  run(${WORK}/consumer_in_c_pc)

  # The Python package, where it was built, finds the library by itself.
  unset(ENV{LD_LIBRARY_PATH})
  file(GLOB modules ${prefix}/lib/python3/dist-packages/core/_core.*.so)
  if(modules AND NOT PREFIX)
    set(ENV{PYTHONPATH} ${prefix}/lib/python3/dist-packages)
    run(/usr/bin/python3 ${CMAKE_CURRENT_LIST_DIR}/../../python/recipes/sample_fade.py)
  endif()
endif()
