# Explorer and installers read the version that core.dll carries as a resource.
#   cmake -DDLL=<core.dll> -DVERSION=<version> -P version_resource.cmake
file(STRINGS ${DLL} texts ENCODING UTF-16LE)
foreach(key IN ITEMS FileVersion ProductVersion)
  list(FIND texts ${key} at)
  math(EXPR next "${at} + 1")
  list(GET texts ${next} value)
  if(at EQUAL -1 OR NOT value STREQUAL VERSION)
    message(FATAL_ERROR "${DLL}: ${key} is '${value}', not ${VERSION}")
  endif()
endforeach()
