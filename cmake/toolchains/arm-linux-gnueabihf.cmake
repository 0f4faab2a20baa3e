# 32-bit ARM with hardware floating point, against the sysroot that scripts/setup-arm unpacks.
# Programs of the build run on the build machine; what is built runs there too, under an emulator.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)

# The place is the one that scripts/setup-arm uses.
if(DEFINED ENV{MICRO850_ARM_SYSROOT})
  set(CMAKE_SYSROOT $ENV{MICRO850_ARM_SYSROOT})
elseif(DEFINED ENV{XDG_CACHE_HOME})
  set(CMAKE_SYSROOT $ENV{XDG_CACHE_HOME}/micro850/armhf-sysroot)
else()
  set(CMAKE_SYSROOT $ENV{HOME}/.cache/micro850/armhf-sysroot)
endif()
if(NOT EXISTS ${CMAKE_SYSROOT}/.unpacked)
  message(FATAL_ERROR "There is no ARM sysroot in ${CMAKE_SYSROOT}. Run scripts/setup-arm.")
endif()

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L ${CMAKE_SYSROOT})

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
