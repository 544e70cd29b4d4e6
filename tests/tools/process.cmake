# Runs core-inspect as a process: file names in any alphabet, bytes as they are.
#   cmake -DPROGRAM=<program> [-DEMULATOR=<runs programs>] -DDOCUMENT=<file> -DWORK=<folder>
#         -P process.cmake
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY "${WORK}/ń 🐌")
file(COPY_FILE ${DOCUMENT} "${WORK}/ń 🐌/ż.json")

# inspect(<argument>...): sets `printed`; the program must end with 0 and report nothing.
macro(inspect)
  execute_process(COMMAND ${EMULATOR} ${PROGRAM} ${ARGN} WORKING_DIRECTORY ${WORK}
    OUTPUT_FILE ${WORK}/printed ERROR_VARIABLE errors RESULT_VARIABLE status)
  file(READ ${WORK}/printed printed)
  if(NOT status EQUAL 0 OR errors)
    message(FATAL_ERROR "core-inspect ${ARGN} ended with ${status}: ${errors}${printed}")
  endif()
endmacro()

inspect(check "ń 🐌/ż.json")
if(NOT printed MATCHES "^ń 🐌/ż.json: parameter of type double, .*, digest right\n$")
  message(FATAL_ERROR "check prints '${printed}'")
endif()
inspect(plot "ń 🐌/ż.json" -o "ń 🐌/ł.svg")
file(READ "${WORK}/ń 🐌/ł.svg" picture)
if(NOT picture MATCHES "<title>ż</title>")
  message(FATAL_ERROR "plot draws '${picture}'")
endif()
# Packed data is full of bytes that a text mode would change.
inspect(convert "ń 🐌/ż.json" p.packed --to packed)
inspect(convert "ń 🐌/ż.json" - --to packed)
execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${WORK}/printed ${WORK}/p.packed
  COMMAND_ERROR_IS_FATAL ANY)
inspect(convert p.packed - --to pretty)
file(READ ${WORK}/printed bytes HEX)
if(bytes MATCHES "^(..)*0d")
  message(FATAL_ERROR "line ends are translated")
endif()
