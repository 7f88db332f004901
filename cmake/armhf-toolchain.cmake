# 32-bit ARM hard-float, the TVs' processor: Debian's arm-linux-gnueabihf
# cross compiler against a sysroot that holds GLib, SQLite and GoogleTest
# (made by scripts/armhf-sysroot). Programs of the build run under qemu-arm.
#
#   cmake -S . -B build-armhf -DCMAKE_TOOLCHAIN_FILE=cmake/armhf-toolchain.cmake \
#         -DTAVRIN_SYSROOT=$(scripts/armhf-sysroot)

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)

set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)

# try_compile projects read this file again and know only what is listed here.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TAVRIN_SYSROOT)
if(NOT TAVRIN_SYSROOT AND DEFINED ENV{TAVRIN_SYSROOT})
  set(TAVRIN_SYSROOT "$ENV{TAVRIN_SYSROOT}")
endif()
if(NOT TAVRIN_SYSROOT OR NOT EXISTS "${TAVRIN_SYSROOT}/lib/ld-linux-armhf.so.3")
  message(FATAL_ERROR "TAVRIN_SYSROOT must name an armhf sysroot (scripts/armhf-sysroot prints one)")
endif()
set(TAVRIN_SYSROOT "${TAVRIN_SYSROOT}" CACHE PATH "armhf sysroot")

set(CMAKE_SYSROOT "${TAVRIN_SYSROOT}")
set(CMAKE_FIND_ROOT_PATH "${TAVRIN_SYSROOT}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The machine's pkg-config, reading only the sysroot's modules.
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${TAVRIN_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR}
    "${TAVRIN_SYSROOT}/usr/lib/arm-linux-gnueabihf/pkgconfig:${TAVRIN_SYSROOT}/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")

# CTest runs the test programs through this, and the test harness starts
# debugmenu through it too.
find_program(TAVRIN_QEMU_ARM qemu-arm NO_CMAKE_FIND_ROOT_PATH)
if(TAVRIN_QEMU_ARM)
  set(CMAKE_CROSSCOMPILING_EMULATOR "${TAVRIN_QEMU_ARM};-L;${TAVRIN_SYSROOT}")
endif()
