# What `cmake --install` gives: headers, library, find_package(core) and core.pc.
# Two components, which package.cmake makes packages of: what programs need to run,
# and what their developers need on top.
include(CMakePackageConfigHelpers)

install(TARGETS core EXPORT core-targets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

set(packageDir ${CMAKE_INSTALL_LIBDIR}/cmake/core)
install(EXPORT core-targets NAMESPACE core:: DESTINATION ${packageDir} COMPONENT development)
configure_package_config_file(cmake/core-config.cmake.in core-config.cmake
  INSTALL_DESTINATION ${packageDir})
write_basic_package_version_file(core-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/core-config.cmake
  ${PROJECT_BINARY_DIR}/core-config-version.cmake
  DESTINATION ${packageDir} COMPONENT development)

# Relative to the .pc file, so that the package can be moved.
file(RELATIVE_PATH pcPrefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" pcPrefix "${pcPrefix}")
set(pcDefinitions)
set(pcSystemLibraries)
if(NOT CORE_SHARED)
  set(pcDefinitions " -DCORE_STATIC")
  set(pcSystemLibraries " -lstdc++ -lm -pthread")
  if(WIN32)
    string(APPEND pcSystemLibraries " -lrpcrt4")
  endif()
endif()
configure_file(cmake/core.pc.in core.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/core.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

# How debuggers show the library's values; gdb loads what is called like the library
# by itself, where its safe path allows.
install(FILES tools/debuggers/core.natvis tools/debuggers/core_printers.py
  DESTINATION ${CMAKE_INSTALL_DATADIR}/core COMPONENT development)
if(NOT WIN32)
  install(FILES tools/debuggers/core_printers.py
    DESTINATION ${CMAKE_INSTALL_DATADIR}/gdb/auto-load${CMAKE_INSTALL_FULL_LIBDIR}
    RENAME libcore.so.${PROJECT_VERSION}-gdb.py COMPONENT development)
endif()

# The compiler's own DLLs, which core.dll needs beside it: next to the programs
# of the build, and in the installed package.
if(MINGW)
  set(runtimeDlls)
  foreach(name IN ITEMS libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${name}
      OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    if(NOT IS_ABSOLUTE "${path}")
      message(FATAL_ERROR "${CMAKE_CXX_COMPILER} has no ${name}")
    endif()
    list(APPEND runtimeDlls ${path})
  endforeach()
  file(COPY ${runtimeDlls} DESTINATION ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
  install(FILES ${runtimeDlls} DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
endif()

if(PROJECT_IS_TOP_LEVEL)
  include(cmake/package.cmake)
endif()
