# Has a process end several times, and each time in time.
#   cmake -DPROGRAM=<program> -DEMULATOR=<command> -DWHAT=<case> -P end_process.cmake
#
# Wine, unlike Windows, ends a process's threads while they hold the heap's lock: about one
# run of a hundred then waits for it in vain, whatever ends there. Two in a row are our fault.
set(hung 0)
foreach(run RANGE 1 8)
  execute_process(COMMAND ${EMULATOR} ${PROGRAM} ${WHAT} RESULT_VARIABLE result TIMEOUT 30)
  if(EMULATOR AND hung EQUAL 0 AND result MATCHES "timeout")
    set(hung 1)
  elseif(NOT result EQUAL 0)
    message(FATAL_ERROR "${WHAT}, run ${run}: ${result}")
  else()
    set(hung 0)
  endif()
endforeach()
