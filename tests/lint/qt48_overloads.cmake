# Fails when LIBRARY calls an overload that Qt 4.8 lacks of a function that Qt 4.8 has.

set(lacking
  "QByteArray::toHex(char)"
  "QByteArray::append(int, char)"
  "QByteArray::insert(int, int, char)" # what append(int, char) comes to
  "QString::asprintf("
  "QMessageLogger::info(")

execute_process(COMMAND ${NM} --demangle --undefined-only ${LIBRARY}
  RESULT_VARIABLE result OUTPUT_VARIABLE calls)
if(NOT result EQUAL 0 OR NOT calls MATCHES "QByteArray::resize")
  message(FATAL_ERROR "${LIBRARY} does not tell what it calls.")
endif()
foreach(overload IN LISTS lacking)
  string(FIND "${calls}" "${overload}" place)
  if(NOT place EQUAL -1)
    message(FATAL_ERROR "The driver calls ${overload}, which Qt 4.8 lacks.")
  endif()
endforeach()
