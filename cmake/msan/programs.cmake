# SPDX-License-Identifier: MIT
# MemorySanitizer must see every store, and the C++ library of the system isn't instrumented:
# what it stores into a program's variables and blocks would be taken for undefined. So only
# the codec's own variables and blocks begin as undefined (src/platform/undefined.h); those of
# the programs around it count as defined (options.cpp) until a test says otherwise
# (tests/support/stored.h).
add_compile_options("SHELL:-mllvm -msan-poison-stack=0")
add_library(jpg_msan_options OBJECT ${PROJECT_SOURCE_DIR}/cmake/msan/options.cpp)
link_libraries($<TARGET_OBJECTS:jpg_msan_options>)
