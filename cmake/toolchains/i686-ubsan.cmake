# SPDX-License-Identifier: MIT
# The same with UndefinedBehaviorSanitizer, whose run-time library can't be linked
# statically with the C library here.
include(${CMAKE_CURRENT_LIST_DIR}/i686.cmake)
set(CMAKE_C_FLAGS_INIT "-fsanitize=undefined -fno-sanitize-recover=all -static-libubsan")
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT}")
set(CMAKE_CXX_FLAGS_RELEASE -O1 CACHE STRING "Compiling takes long with all checks")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static-libgcc -static-libstdc++ \
-Wl,--dynamic-linker=/usr/${TRIPLET}/lib/ld-linux.so.2 -Wl,-rpath,/usr/${TRIPLET}/lib")
