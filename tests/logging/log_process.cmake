# Has a process log and end, and looks at its files from another one.
#   cmake -DPROGRAM=<program> -DEMULATOR=<command> -DWHAT=<case> -DTIMES=<number> -DWORK=<folder>
#     -P log_process.cmake
# Two cases with a plus between them run beside each other.
function(run)
  execute_process(${ARGN} RESULTS_VARIABLE results TIMEOUT 200)
  if(NOT results MATCHES "^0(;0)*$")
    message(FATAL_ERROR "${ARGN}: ${results}")
  endif()
endfunction()

string(REPLACE "+" ";" cases ${WHAT})
set(commands)
foreach(case IN LISTS cases)
  list(APPEND commands COMMAND ${EMULATOR} ${PROGRAM} ${case} ${WORK})
endforeach()
foreach(i RANGE 1 ${TIMES})
  file(REMOVE_RECURSE ${WORK})
  run(${commands})
  run(COMMAND ${EMULATOR} ${PROGRAM} check ${WORK})
endforeach()
file(REMOVE_RECURSE ${WORK})
