# Has a process end several times, and each time in time.
#   cmake -DPROGRAM=<program> -DEMULATOR=<command> -DWHAT=<case> -P end_process.cmake
foreach(run RANGE 1 8)
  execute_process(COMMAND ${EMULATOR} ${PROGRAM} ${WHAT} RESULT_VARIABLE result TIMEOUT 60)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${WHAT}, run ${run}: ${result}")
  endif()
endforeach()
