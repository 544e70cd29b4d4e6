# Runs a program and compares what it prints, whatever the line ends.
#   cmake -DPROGRAM=<program> -DEXPECTED=<text file> [-DEMULATOR=<runs programs>]
#         [-DARGS=<arguments>] -P compare_output.cmake
execute_process(COMMAND ${EMULATOR} ${PROGRAM} ${ARGS}
  OUTPUT_VARIABLE printed RESULT_VARIABLE status)
string(REPLACE "\r\n" "\n" printed "${printed}")
if(NOT status EQUAL 0)
  message(FATAL_ERROR "${PROGRAM} ended with ${status}; it printed:\n${printed}")
endif()
file(READ ${EXPECTED} expected)
if(NOT printed STREQUAL expected)
  file(WRITE printed.txt "${printed}")
  execute_process(COMMAND diff -u ${EXPECTED} printed.txt)
  message(FATAL_ERROR "${PROGRAM} does not print ${EXPECTED}")
endif()
