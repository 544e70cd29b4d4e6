# Has a process log and end, and looks at its files from another one.
#   cmake -DPROGRAM=<program> -DEMULATOR=<command> -DWHAT=<case> -DWORK=<folder> -P log_process.cmake
file(REMOVE_RECURSE ${WORK})
# Two cases with a plus between them run beside each other.
string(REPLACE "+" ";" cases ${WHAT})
set(commands)
foreach(what IN LISTS cases)
  list(APPEND commands COMMAND ${EMULATOR} ${PROGRAM} ${what} ${WORK})
endforeach()
foreach(what IN ITEMS "${commands}" "COMMAND;${EMULATOR};${PROGRAM};check;${WORK}")
  execute_process(${what} RESULTS_VARIABLE results)
  if(NOT results MATCHES "^0(;0)*$")
    message(FATAL_ERROR "${what}: ${results}")
  endif()
endforeach()
file(REMOVE_RECURSE ${WORK})
