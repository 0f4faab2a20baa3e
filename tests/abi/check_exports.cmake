# Compares the names that LIBRARY exports with those of LIST, the linker's version script.

cmake_minimum_required(VERSION 3.16)

file(READ ${LIST} script)
string(REGEX REPLACE "/\\*[^*]*\\*/" "" script "${script}")
if(NOT script MATCHES "global:([^:]*)local:")
  message(FATAL_ERROR "no global names in ${LIST}")
endif()
string(REGEX MATCHALL "[A-Za-z_][A-Za-z0-9_]*" listed "${CMAKE_MATCH_1}")

execute_process(COMMAND ${NM} -D --defined-only --format=posix ${LIBRARY}
  OUTPUT_VARIABLE symbols RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "${NM} cannot read ${LIBRARY}")
endif()
string(REGEX REPLACE " [^\n]*\n" ";" exported "${symbols}")
list(FILTER exported EXCLUDE REGEX "^$")

list(LENGTH listed listed_count)
if(NOT listed_count EQUAL 25)
  message(SEND_ERROR "25 entry points are promised to hosts, ${listed_count} are listed")
endif()
foreach(name IN LISTS listed)
  if(NOT name IN_LIST exported)
    message(SEND_ERROR "not exported: ${name}")
  endif()
endforeach()
foreach(name IN LISTS exported)
  if(NOT name IN_LIST listed)
    message(SEND_ERROR "exported but not listed: ${name}")
  endif()
endforeach()
