# 32-bit ARM with Debian's cross compiler, against the root that packaging/armhf-root unpacks; what is built can be run here
# under user-mode emulation.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)

set(NELKANET_ARMHF_ROOT ${CMAKE_CURRENT_LIST_DIR}/../build/armhf-root CACHE PATH "Root with the armhf packages")
file(REAL_PATH ${NELKANET_ARMHF_ROOT} CMAKE_SYSROOT)
# The toolchain is read once more by every probe of the compiler.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES NELKANET_ARMHF_ROOT)

set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
# What GCC 7.1 changed in the passing of parameters concerns no one who starts today.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# With its whole path, because not all that start it search for it.
find_program(QEMU_ARM qemu-arm-static)
mark_as_advanced(QEMU_ARM)
if(QEMU_ARM)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${QEMU_ARM} -L ${CMAKE_SYSROOT})
endif()
