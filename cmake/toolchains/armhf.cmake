# SPDX-License-Identifier: MIT
# Linux on ARMv7 with floating point but without NEON, which traps.
set(TRIPLET arm-linux-gnueabihf)
set(CMAKE_SYSTEM_PROCESSOR armv7-a)
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)
set(CMAKE_C_FLAGS_INIT "-march=armv7-a+fp -Wno-psabi")
set(CMAKE_CXX_FLAGS_INIT "-march=armv7-a+fp -Wno-psabi")
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -cpu cortex-a9,neon=off)
