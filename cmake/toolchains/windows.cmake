# SPDX-License-Identifier: MIT
# What the Windows targets share: Debian's compilers, in the variant whose C++ library has
# threads (GoogleTest wants them). TRIPLET is their prefix. Programs bring the compiler's
# runtime along.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_C_COMPILER ${TRIPLET}-gcc-posix)
set(CMAKE_CXX_COMPILER ${TRIPLET}-g++-posix)
set(CMAKE_RC_COMPILER ${TRIPLET}-windres)
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
set(CMAKE_FIND_ROOT_PATH /usr/${TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
