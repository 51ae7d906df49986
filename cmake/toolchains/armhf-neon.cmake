# SPDX-License-Identifier: MIT
# Linux on ARMv7 with NEON, which the compiler may use.
set(TRIPLET arm-linux-gnueabihf)
set(CMAKE_SYSTEM_PROCESSOR armv7-a)
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)
set(CMAKE_C_FLAGS_INIT "-march=armv7-a+simd -mfpu=neon -Wno-psabi")
set(CMAKE_CXX_FLAGS_INIT "-march=armv7-a+simd -mfpu=neon -Wno-psabi")
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -cpu cortex-a9)
