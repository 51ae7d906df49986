# SPDX-License-Identifier: MIT
# 64-bit desktop Windows; programs run under Wine.
set(TRIPLET x86_64-w64-mingw32)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
include(${CMAKE_CURRENT_LIST_DIR}/windows.cmake)
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../../scripts/wine.sh)
