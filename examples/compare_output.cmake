# Runs a program and compares what it prints, whatever the line ends.
#   cmake -DPROGRAM=<program> [-DEMULATOR=<runs programs>] [-DARGS=<arguments>]
#         [-DSTATUS=<exit status>] [-DEXPECTED=<text file>] [-DERROR=<regex>]
#         -P compare_output.cmake
# Without EXPECTED it may print anything; without ERROR it must report none.
if(STATUS STREQUAL "")
  set(STATUS 0)
endif()
execute_process(COMMAND ${EMULATOR} ${PROGRAM} ${ARGS}
  OUTPUT_VARIABLE printed ERROR_VARIABLE errors RESULT_VARIABLE status)
string(REPLACE "\r\n" "\n" printed "${printed}")
if(NOT status STREQUAL STATUS)
  message(FATAL_ERROR
    "${PROGRAM} ended with ${status}, not ${STATUS}; it printed:\n${printed}${errors}")
endif()
if(ERROR STREQUAL "")
  set(ERROR "^$")
endif()
if(NOT errors MATCHES "${ERROR}")
  message(FATAL_ERROR "the errors do not match '${ERROR}':\n${errors}")
endif()
if(DEFINED EXPECTED)
  file(READ ${EXPECTED} expected)
  if(NOT printed STREQUAL expected)
    file(WRITE printed.txt "${printed}")
    execute_process(COMMAND diff -u ${EXPECTED} printed.txt)
    message(FATAL_ERROR "${PROGRAM} does not print ${EXPECTED}")
  endif()
endif()
