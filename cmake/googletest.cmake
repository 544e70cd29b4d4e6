# GoogleTest, compiled from Debian's source package, so that the native, the
# sanitized and the Windows build run the same suite on the same framework.
set(CORE_GOOGLETEST_DIR /usr/src/googletest CACHE PATH "GoogleTest's sources")
if(NOT EXISTS ${CORE_GOOGLETEST_DIR}/CMakeLists.txt)
  message(FATAL_ERROR "No GoogleTest in ${CORE_GOOGLETEST_DIR}: install the package googletest, "
    "or configure with -DCORE_BUILD_TESTS=OFF")
endif()
set(INSTALL_GTEST OFF)
set(BUILD_SHARED_LIBS OFF)
add_subdirectory(${CORE_GOOGLETEST_DIR} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
include(GoogleTest)
