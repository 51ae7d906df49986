# SPDX-License-Identifier: MIT
# 32-bit desktop Windows. Its DLL runs in the loader of tests/product/loader, compiled for 32-bit
# Linux; no 32-bit Wine is needed.
set(TRIPLET i686-w64-mingw32)
set(CMAKE_SYSTEM_PROCESSOR i686)
include(${CMAKE_CURRENT_LIST_DIR}/windows.cmake)
