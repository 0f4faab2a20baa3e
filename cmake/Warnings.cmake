# Warnings are errors everywhere; the driver and the tools alike carry the strict set.
add_library(micro850_warnings INTERFACE)
target_compile_options(micro850_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)

# With sanitizers, GCC 12 calls members of its own <regex> uninitialised; without them, it looks.
if(MICRO850_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  target_compile_options(micro850_warnings INTERFACE -Wno-maybe-uninitialized)
endif()
