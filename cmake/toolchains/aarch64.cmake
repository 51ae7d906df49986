# SPDX-License-Identifier: MIT
# Linux on 64-bit ARM, whose processors all have NEON.
set(TRIPLET aarch64-linux-gnu)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -cpu cortex-a53)
