# What `cpack` makes: a pair of Debian packages, library and -dev, or a .zip for
# Windows with both in one.
set(CPACK_PACKAGE_NAME core)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "The core maintainers")
set(CPACK_PACKAGE_CONTACT "The core maintainers <maintainers@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_SOURCE_DIR}/build/packages)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_VERBATIM_VARIABLES ON)

if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_STRIP_FILES ON)
  set(CPACK_PACKAGE_FILE_NAME core-${PROJECT_VERSION}-windows-x86_64)
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_DEB_COMPONENT_INSTALL ON)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
  # Without group write permission, whatever the umask.
  set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

  set(whatItIs "Keyframed parameters and speed curves, JSON documents and a packed
form of them, message queues, event buses, workers, a log, identifiers
and clocks.")
  # The soname's number is part of the name, so that two major versions can be
  # installed side by side.
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libcore${PROJECT_VERSION_MAJOR})
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
  set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
    "${whatItIs}\n.\nThis package holds the shared library.")
  # Its debug information is a third package.
  set(CPACK_DEBIAN_RUNTIME_DEBUGINFO_PACKAGE ON)
  # Programs that are packaged themselves need a library that is not older than the
  # one they were linked with.
  file(WRITE ${PROJECT_BINARY_DIR}/deb/shlibs
    "libcore ${PROJECT_VERSION_MAJOR} libcore${PROJECT_VERSION_MAJOR} (>= ${PROJECT_VERSION})\n")
  file(WRITE ${PROJECT_BINARY_DIR}/deb/triggers "activate-noawait ldconfig\n")
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
    ${PROJECT_BINARY_DIR}/deb/shlibs ${PROJECT_BINARY_DIR}/deb/triggers)

  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libcore-dev)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
  # Its one program needs what the library needs. That can't be looked up, because the
  # library is in a package that is only being made.
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "libcore${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION}), libc6, libgcc-s1, libstdc++6")
  set(CPACK_DEBIAN_DEVELOPMENT_DEBUGINFO_PACKAGE ON)
  set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
    "${whatItIs}\n.\nThis package holds the headers, what CMake and pkg-config need to find\nthe library, how debuggers show its objects, and core-inspect, which looks\ninto stored documents.")
endif()
include(CPack)
