# SPDX-License-Identifier: MIT
# Linux on ARMv5TE without floating point, run on the model of a handheld's core: an
# instruction that came later traps there.
set(TRIPLET arm-linux-gnueabi)
set(CMAKE_SYSTEM_PROCESSOR armv5te)
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)
set(CMAKE_C_FLAGS_INIT "-march=armv5te -marm -Wno-psabi")
set(CMAKE_CXX_FLAGS_INIT "-march=armv5te -marm -Wno-psabi")
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -cpu pxa270)
