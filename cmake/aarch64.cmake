# SPDX-License-Identifier: ISC
# Debian's cross compiler for AArch64; what is built runs under user-mode emulation.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
# KELVANTORIUM_STAGING: a folder with libraries for the target, lib/ and include/ below it.
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu ${KELVANTORIUM_STAGING})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64;-L;/usr/aarch64-linux-gnu)
# What pkg-config tells by default is about the machine that builds.
set(ENV{PKG_CONFIG_LIBDIR} /usr/aarch64-linux-gnu/lib/pkgconfig)
