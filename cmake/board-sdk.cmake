# The board's own toolchain: the cross compiler of the board SDK, built for
# the board's C library (uClibc-ng) and CPU. This file is the one place a
# board build names its compiler; cmake/mips-linux-gnu.cmake (Debian's glibc
# toolchain) serves the link check and the simulated board's tests only.
#
#   FTM_SDK=/opt/gateway-sdk/toolchain cmake --preset board-sdk
#   cmake --build build/board-sdk
#
# The same file builds the simulated board's tests with the SDK's compiler
# and C library, run under qemu-mips (docs/porting.md):
#
#   FTM_SDK=... cmake --preset mips-sim -B build/mips-sim-sdk \
#       -DCMAKE_TOOLCHAIN_FILE=cmake/board-sdk.cmake
#
# FTM_SDK (environment or cache) is the toolchain's top directory, the one
# with bin/<triple>-gcc. FTM_SDK_TRIPLE names the triple when bin/ holds
# more than one compiler (mips-openwrt-linux-uclibc, mips-buildroot-linux-uclibc, ...).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mips)

# Kept in the cache, so that a later re-run of the configure step (which
# reads this file again) needs no environment.
if(NOT FTM_SDK)
  set(FTM_SDK "$ENV{FTM_SDK}" CACHE PATH "The board SDK's toolchain directory")
endif()
if(NOT FTM_SDK_TRIPLE)
  set(FTM_SDK_TRIPLE "$ENV{FTM_SDK_TRIPLE}" CACHE STRING "The board SDK compiler's triple")
endif()
if(NOT FTM_SDK OR NOT IS_DIRECTORY "${FTM_SDK}/bin")
  message(FATAL_ERROR "board-sdk.cmake: set FTM_SDK to the board SDK's toolchain directory "
                      "(the one holding bin/<triple>-gcc)")
endif()
if(NOT FTM_SDK_TRIPLE)
  file(GLOB compilers "${FTM_SDK}/bin/*-linux-*-gcc")
  list(LENGTH compilers count)
  if(NOT count EQUAL 1)
    message(FATAL_ERROR "board-sdk.cmake: ${count} compilers in ${FTM_SDK}/bin; "
                        "name one with FTM_SDK_TRIPLE")
  endif()
  get_filename_component(compiler "${compilers}" NAME)
  string(REGEX REPLACE "-gcc$" "" triple "${compiler}")
  set(FTM_SDK_TRIPLE "${triple}" CACHE STRING "The board SDK compiler's triple" FORCE)
endif()
# Test compilations of the configure step read this file again.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES FTM_SDK FTM_SDK_TRIPLE)

set(CMAKE_C_COMPILER "${FTM_SDK}/bin/${FTM_SDK_TRIPLE}-gcc")
set(CMAKE_CXX_COMPILER "${FTM_SDK}/bin/${FTM_SDK_TRIPLE}-g++")
# Libraries and headers only from the SDK's system root; programs from here.
execute_process(COMMAND "${CMAKE_C_COMPILER}" -print-sysroot
                OUTPUT_VARIABLE sysroot OUTPUT_STRIP_TRAILING_WHITESPACE)
# (A compiler without a system root of its own answers "/" or nothing.)
if(sysroot AND NOT sysroot STREQUAL "/")
  set(CMAKE_FIND_ROOT_PATH "${sysroot}")
  # Tests of a simulated-board build with this toolchain (FTM_BACKEND=sim)
  # run under qemu with the SDK's C library; the board build never runs here.
  if(NOT DEFINED CMAKE_CROSSCOMPILING_EMULATOR)
    set(CMAKE_CROSSCOMPILING_EMULATOR qemu-mips;-L;${sysroot})
  endif()
endif()
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
