# Has a process log and end, and looks at its files from another one.
#   cmake -DPROGRAM=<program> -DEMULATOR=<command> -DWHAT=<case> -DWORK=<folder> -P log_process.cmake
file(REMOVE_RECURSE ${WORK})
foreach(what IN ITEMS ${WHAT} check)
  execute_process(COMMAND ${EMULATOR} ${PROGRAM} ${what} ${WORK} RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${what}: ${result}")
  endif()
endforeach()
file(REMOVE_RECURSE ${WORK})
