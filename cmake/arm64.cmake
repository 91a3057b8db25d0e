# SPDX-License-Identifier: GPL-3.0-or-later
# Builds for 64-bit ARM on another machine, and runs the tests in an emulator. The libraries and
# headers of that machine lie in TROVIK_SYSROOT (scripts/check_arm64 puts them there).
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TROVIK_SYSROOT)
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_SYSROOT ${TROVIK_SYSROOT})
set(CMAKE_FIND_ROOT_PATH ${TROVIK_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${TROVIK_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR} ${TROVIK_SYSROOT}/usr/lib/aarch64-linux-gnu/pkgconfig:${TROVIK_SYSROOT}/usr/share/pkgconfig)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L ${TROVIK_SYSROOT})
