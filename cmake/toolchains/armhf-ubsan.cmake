# The same with UndefinedBehaviorSanitizer: the emulator doesn't trap unaligned access.
include(${CMAKE_CURRENT_LIST_DIR}/armhf.cmake)
set(CMAKE_C_FLAGS_INIT "${CMAKE_C_FLAGS_INIT} -fsanitize=undefined -fno-sanitize-recover=all")
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT}")
set(CMAKE_CXX_FLAGS_RELEASE -O1 CACHE STRING "Compiling takes long with all checks")
