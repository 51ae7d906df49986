# SPDX-License-Identifier: MIT
# Linux on 32-bit x86 by clang 19, with counters: what only narrow registers reach.
include(${CMAKE_CURRENT_LIST_DIR}/i686.cmake)
set(CMAKE_C_COMPILER clang-19)
set(CMAKE_CXX_COMPILER clang++-19)
set(CMAKE_C_COMPILER_TARGET ${TRIPLET})
set(CMAKE_CXX_COMPILER_TARGET ${TRIPLET})
