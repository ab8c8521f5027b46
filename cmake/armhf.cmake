# 32-bit ARM with Debian's cross compiler, against the root unpacked by packaging/armhf-root; the programs run here
# under user-mode emulation.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)

set(NELKANET_ARMHF_ROOT ${CMAKE_CURRENT_LIST_DIR}/../build/armhf-root CACHE PATH "Root with the armhf packages")
file(REAL_PATH ${NELKANET_ARMHF_ROOT} CMAKE_SYSROOT)
# Every compiler probe reads this file again.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES NELKANET_ARMHF_ROOT)

set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
# The ABI change of GCC 7.1 does not concern new programs.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# With its full path, because not every caller searches PATH.
find_program(QEMU_ARM qemu-arm-static)
mark_as_advanced(QEMU_ARM)
if(QEMU_ARM)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${QEMU_ARM} -L ${CMAKE_SYSROOT})
endif()
