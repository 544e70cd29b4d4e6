# Has processes crash, and looks at their files from another one.
#   cmake -DPROGRAM=<program> -DEMULATOR=<command> -DHOW=<case> -DTIMES=<number> -DWORK=<folder>
#     -P crash_process.cmake
foreach(i RANGE 1 ${TIMES})
  file(REMOVE_RECURSE ${WORK})
  execute_process(COMMAND ${EMULATOR} ${PROGRAM} ${HOW} ${WORK} RESULT_VARIABLE result
    ERROR_VARIABLE said OUTPUT_QUIET TIMEOUT 60)
  # Handlers from before, and ends by _Exit, answer 42; the system's own has a status of its own.
  if(HOW MATCHES "^(hooked|fatal)$")
    set(expected "^42$")
  else()
    set(expected "^[^0]")
    if(NOT said MATCHES "crash: ")
      message(FATAL_ERROR "${HOW}: ${result}, standard error: ${said}")
    endif()
  endif()
  if(NOT result MATCHES "${expected}" OR result MATCHES "timeout")
    message(FATAL_ERROR "${HOW} ends with ${result}: ${said}")
  endif()
  execute_process(COMMAND ${EMULATOR} ${PROGRAM} check ${HOW} ${WORK} RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${HOW}: lines are missing")
  endif()
endforeach()
file(REMOVE_RECURSE ${WORK})
