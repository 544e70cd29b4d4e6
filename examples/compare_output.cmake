# Runs a program and compares what it prints, whatever the line ends.
#   cmake -DPROGRAM=<program> [-DEMULATOR=<runs programs>] [-DARGS=<arguments>]
#         [-DSTATUS=<exit status>] [-DEXPECTED=<text file>] [-DERROR=<regex>]
#         [-DLOG=<text file>] -P compare_output.cmake
# Without EXPECTED it may print anything; without ERROR it must report none. LOG is
# what it writes to a file in the folder "log", but for threads, times,
# sizes and the folder of this file. CORE_RUN_UNDER in the environment is a command
# that runs the program in its turn, a list like ARGS.
if(STATUS STREQUAL "")
  set(STATUS 0)
endif()
file(REMOVE_RECURSE log)
execute_process(COMMAND ${EMULATOR} $ENV{CORE_RUN_UNDER} ${PROGRAM} ${ARGS}
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
if(DEFINED LOG)
  file(READ ${LOG} expected)
  file(GLOB files log/*.log)
  file(READ "${files}" logged)
  string(REGEX REPLACE "\\]\\[[0-9]+\\]\\[[-0-9]+ [:.0-9]+T[-+][0-9]+\\]" "][#]" logged "${logged}")
  string(REGEX REPLACE "[0-9]+ bytes" "# bytes" logged "${logged}")
  string(REPLACE "${CMAKE_CURRENT_LIST_DIR}/" "" logged "${logged}")
  if(NOT logged STREQUAL expected)
    message(FATAL_ERROR "${PROGRAM} does not log ${LOG}, but:\n${logged}")
  endif()
endif()
