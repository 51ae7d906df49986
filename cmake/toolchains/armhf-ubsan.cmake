# SPDX-License-Identifier: MIT
# The same with UndefinedBehaviorSanitizer: the emulator doesn't trap unaligned access.
include(${CMAKE_CURRENT_LIST_DIR}/armhf.cmake)
# In ARM mode, since a reference to a Thumb function looks misaligned to it.
set(CMAKE_C_FLAGS_INIT
    "${CMAKE_C_FLAGS_INIT} -marm -fsanitize=undefined -fno-sanitize-recover=all")
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT}")
set(CMAKE_CXX_FLAGS_RELEASE -O1 CACHE STRING "Compiling takes long with all checks")
