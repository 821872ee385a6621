# Runs PROGRAM with INPUT and fails unless it exits with 0 and prints exactly the file EXPECTED.
#   cmake -DPROGRAM=... -DINPUT=... -DEXPECTED=... -P ExpectOutput.cmake
execute_process(COMMAND ${PROGRAM} ${INPUT} RESULT_VARIABLE status OUTPUT_VARIABLE output
  ERROR_VARIABLE errors)
file(READ ${EXPECTED} expected)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "${PROGRAM} ${INPUT} exited with ${status}: ${errors}")
endif()
if(NOT output STREQUAL expected)
  message(FATAL_ERROR "${PROGRAM} ${INPUT} printed\n${output}\ninstead of\n${expected}")
endif()
