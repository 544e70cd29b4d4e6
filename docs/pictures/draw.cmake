# Draws the pictures of the guide and compares them with those that are there.
#   cmake -DDEMO=<core-demo> -DINSPECT=<core-inspect> [-DEMULATOR=<runs programs>]
#         -DSOURCE=<repository> -DOUT=<folder to draw to> [-DKEEP=ON]
#         -P docs/pictures/draw.cmake
# With KEEP it puts what has changed in place instead of failing.
function(run)
  execute_process(COMMAND ${EMULATOR} ${ARGV} OUTPUT_QUIET ERROR_VARIABLE errors
    RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${ARGV}: ${status}\n${errors}")
  endif()
endfunction()

file(REMOVE_RECURSE ${OUT})
file(MAKE_DIRECTORY ${OUT})
run(${DEMO} --no-tables --out ${OUT})
file(GLOB documents ${SOURCE}/docs/data/*.json)
foreach(document IN LISTS documents)
  get_filename_component(name ${document} NAME_WE)
  run(${INSPECT} plot ${document} -o ${OUT}/${name}.svg)
endforeach()
run(${INSPECT} plot ${SOURCE}/examples/data/zoom.json --title "Zoom in, spring back"
  -o ${OUT}/core-inspect.svg)

set(stale)
file(GLOB pictures ${SOURCE}/docs/pictures/*.svg)
foreach(picture IN LISTS pictures)
  get_filename_component(name ${picture} NAME)
  if(NOT EXISTS ${OUT}/${name})
    message(FATAL_ERROR "nothing draws ${name}")
  endif()
  file(READ ${picture} there)
  file(READ ${OUT}/${name} drawn)
  string(REPLACE "\r\n" "\n" drawn "${drawn}")
  if(NOT there STREQUAL drawn)
    list(APPEND stale ${name})
    if(KEEP)
      file(WRITE ${picture} "${drawn}")
      message(STATUS "drawn anew: ${name}")
    endif()
  endif()
endforeach()
if(stale AND NOT KEEP)
  message(FATAL_ERROR "not what the library draws: ${stale}; ./dev docs draws them")
endif()
