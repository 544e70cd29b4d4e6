# What `cpack` makes: Debian packages of the library, of what developers need on top and of the
# Python package where it is built, or a .zip for Windows with the first two in one.
set(CPACK_PACKAGE_NAME core)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "The core maintainers")
# Whoever hands the packages on says who answers for them.
set(CORE_MAINTAINER "The core maintainers <maintainers@localhost>" CACHE STRING
  "Name and address in the packages")
set(CPACK_PACKAGE_CONTACT ${CORE_MAINTAINER})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_SOURCE_DIR}/build/packages)
set(CPACK_COMPONENTS_ALL runtime development)
if(TARGET core_python)
  list(APPEND CPACK_COMPONENTS_ALL python)
endif()
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
  set(debianNames libcore${PROJECT_VERSION_MAJOR} libcore-dev)
  if(TARGET core_python)
    list(APPEND debianNames python3-core)
  endif()
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

  # Debian's own papers. cpack calls ldconfig from scripts where it is not given any, which
  # the trigger does too.
  configure_file(packaging/debian/changelog.in ${PROJECT_BINARY_DIR}/deb/doc/changelog @ONLY)
  file(READ ${PROJECT_BINARY_DIR}/deb/doc/changelog changelog)
  if(NOT changelog MATCHES "^core \\(${PROJECT_VERSION}\\)")
    message(FATAL_ERROR "packaging/debian/changelog.in does not start with ${PROJECT_VERSION}")
  endif()
  find_program(CORE_GZIP gzip REQUIRED)
  mark_as_advanced(CORE_GZIP)
  execute_process(COMMAND ${CORE_GZIP} -9nc changelog WORKING_DIRECTORY ${PROJECT_BINARY_DIR}/deb/doc
    OUTPUT_FILE ${PROJECT_BINARY_DIR}/deb/doc/changelog.gz COMMAND_ERROR_IS_FATAL ANY)
  foreach(component package IN ZIP_LISTS CPACK_COMPONENTS_ALL debianNames)
    install(FILES packaging/debian/copyright ${PROJECT_BINARY_DIR}/deb/doc/changelog.gz
      DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
  endforeach()

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

  # Extensions are made for one version of the interpreter. As with -dev, what it needs can't be
  # looked up.
  if(TARGET core_python)
    install(FILES packaging/debian/python/lintian-overrides
      DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME python3-core COMPONENT python)
    get_target_property(python core_python CORE_PYTHON_VERSION)
    math(EXPR nextMinor "${python} + 1")
    set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-core)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS OFF)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
      "libcore${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION}), libc6, libgcc-s1, libstdc++6, python3 (>= 3.${python}~), python3 (<< 3.${nextMinor}), python3-numpy")
    set(CPACK_DEBIAN_PYTHON_DEBUGINFO_PACKAGE ON)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA
      ${PROJECT_SOURCE_DIR}/packaging/debian/python/postinst
      ${PROJECT_SOURCE_DIR}/packaging/debian/python/prerm)
    set(CPACK_DEBIAN_PYTHON_DESCRIPTION
      "${whatItIs}\n.\nThis package holds the Python package core: parameters, speed curves,\nsnapshots sampled into NumPy arrays, JSON documents and their packed form.")
  endif()
endif()
include(CPack)
