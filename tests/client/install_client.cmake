# Installs what SOURCE/package-lock.json pins into DESTINATION, in the build tree, and runs none of
# the packages' own scripts. Does nothing when exactly that is installed already.

set(pins package.json package-lock.json)
set(stamp ${DESTINATION}/installed)
set(wanted "")
foreach(file IN LISTS pins)
  file(SHA256 ${SOURCE}/${file} hash)
  string(APPEND wanted "${hash}\n")
endforeach()

set(found "")
if(EXISTS ${stamp})
  file(READ ${stamp} found)
endif()
if(found STREQUAL wanted)
  return()
endif()

file(REMOVE_RECURSE ${DESTINATION})
foreach(file IN LISTS pins)
  file(COPY ${SOURCE}/${file} DESTINATION ${DESTINATION})
endforeach()
execute_process(
  COMMAND npm ci --ignore-scripts --no-audit --no-fund --prefer-offline
  WORKING_DIRECTORY ${DESTINATION}
  RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "The independent client cannot be installed, so nothing is tested against it.\n"
                      "npm ci: ${result}\n${output}")
endif()
file(WRITE ${stamp} "${wanted}")
