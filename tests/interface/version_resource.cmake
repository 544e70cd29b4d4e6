# Explorer and installers read the version that core.dll carries as a resource.
#   cmake -DDLL=<core.dll> -DVERSION=<version> -P version_resource.cmake
file(READ ${DLL} dll HEX)
foreach(key IN ITEMS FileVersion ProductVersion)
  # Name and value are UTF-16, with zeros between them.
  string(HEX ${key} name)
  string(HEX ${VERSION} value)
  string(REGEX REPLACE "(..)" "\\100" name "${name}")
  string(REGEX REPLACE "(..)" "\\100" value "${value}")
  if(NOT dll MATCHES "${name}(00)+${value}0000")
    message(FATAL_ERROR "${DLL} does not carry ${key} ${VERSION}")
  endif()
endforeach()
