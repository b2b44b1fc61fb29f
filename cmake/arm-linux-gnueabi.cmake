# The camera's own processor: an ARM926EJ-S, ARMv5TE without a floating-point unit. Headers and libraries are Debian's
# for armel, in the folder that scripts/sysroot-armel makes.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../.cache/sysroot-armel)
cmake_path(NORMAL_PATH CMAKE_SYSROOT)
if(NOT EXISTS ${CMAKE_SYSROOT}/usr)
  message(FATAL_ERROR "There is no sysroot yet: run scripts/sysroot-armel")
endif()

set(CMAKE_CXX_COMPILER arm-linux-gnueabi-g++)
# The compiler's notes on how its seventh release passes arguments do not concern a system built with one release.
set(CMAKE_CXX_FLAGS_INIT "-march=armv5te -mtune=arm926ej-s -mfloat-abi=soft -Wno-psabi")
# Atomics of 64 bits, which the tests' clock has, are library calls on this processor.
set(CMAKE_CXX_STANDARD_LIBRARIES_INIT "-Wl,--push-state,--as-needed -latomic -Wl,--pop-state")

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# pkg-config answers from the sysroot only, never from the PC's own libraries.
set(ENV{PKG_CONFIG_DIR} "")
set(ENV{PKG_CONFIG_PATH} "")
set(ENV{PKG_CONFIG_LIBDIR} ${CMAKE_SYSROOT}/usr/lib/arm-linux-gnueabi/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CMAKE_SYSROOT})

# Tests run as ARM code; the emulated processor refuses every newer instruction.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -cpu arm926 -L ${CMAKE_SYSROOT})
