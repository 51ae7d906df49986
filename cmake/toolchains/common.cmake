# SPDX-License-Identifier: MIT
# What the cross targets share: Debian's compilers, programs linked statically, so that
# they run without the target's libraries. TRIPLET is the compilers' prefix.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${TRIPLET}-g++)
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
set(CMAKE_FIND_ROOT_PATH /usr/${TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
