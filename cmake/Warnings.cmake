# Warnings are errors everywhere; the driver and the tools alike carry the strict set.
add_library(micro850_warnings INTERFACE)
target_compile_options(micro850_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)
