# SPDX-License-Identifier: MIT
# Linux on 32-bit x86; runs on an x86-64 kernel as it is.
set(TRIPLET i686-linux-gnu)
set(CMAKE_SYSTEM_PROCESSOR i686)
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)
