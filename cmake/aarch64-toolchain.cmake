# SPDX-License-Identifier: Apache-2.0
# Cross build for AArch64 Linux with Debian's cross compiler and the arm64 packages of the dependencies, which install
# beside those of this machine (docs/cross-build.md). Programs of the build, such as the tests, run under qemu.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/aarch64-linux-gnu/pkgconfig:/usr/share/pkgconfig)
if(NOT CMAKE_HOST_SYSTEM_PROCESSOR STREQUAL "aarch64")
  set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64-static)
endif()
