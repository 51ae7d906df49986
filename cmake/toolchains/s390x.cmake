# SPDX-License-Identifier: MIT
# Linux on a 64-bit machine that stores the high byte first.
set(TRIPLET s390x-linux-gnu)
set(CMAKE_SYSTEM_PROCESSOR s390x)
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-s390x)
