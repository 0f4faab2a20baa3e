# Configures SOURCE with OPTIONS for GENERATOR, the only one that need be there, and expects to be
# refused with the sentence REFUSAL.

separate_arguments(OPTIONS)
file(REMOVE_RECURSE ${SCRATCH})
execute_process(
  COMMAND ${CMAKE_COMMAND} -G "${GENERATOR}" -S ${SOURCE} -B ${SCRATCH} ${OPTIONS}
  RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
file(REMOVE_RECURSE ${SCRATCH})

if(result EQUAL 0)
  message(FATAL_ERROR "Configured all the same.")
endif()
string(REGEX REPLACE "[ \n]+" " " flowing "${output}") # CMake breaks long messages into lines
string(FIND "${flowing}" "${REFUSAL}" place)
if(place EQUAL -1)
  message(FATAL_ERROR "Refused, but not for the reason expected:\n${output}")
endif()
