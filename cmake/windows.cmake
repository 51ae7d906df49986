# SPDX-License-Identifier: MIT
# The DLL for desktop Windows: jpg.dll and its import library libjpg.dll.a. It has an entry
# point of its own instead of the compiler's start-up code, and imports only the platform's
# operations and memory functions. Included by src/CMakeLists.txt.
target_sources(jpg PRIVATE jpg.def)
set_target_properties(jpg PROPERTIES PREFIX "" IMPORT_PREFIX lib)
set(entry DllEntry)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  set(entry _DllEntry@12)  # stdcall, three words of arguments
endif()
target_link_options(jpg PRIVATE -nostdlib -Wl,-e,${entry} -Wl,--no-insert-timestamp -s)
target_link_libraries(jpg PRIVATE kernel32 user32 gdi32 msvcrt gcc)
target_link_libraries(jpg_static PUBLIC user32 gdi32)

# This compiler takes the stack for aligned to 32 bytes on 64-bit Windows, where 16 are
# promised; the assembler then writes moves that don't mind.
target_compile_options(jpg_core PRIVATE -Wa,-muse-unaligned-vector-move)

# A compiler that doesn't take the import library makes one of this list.
install(FILES ${CMAKE_CURRENT_SOURCE_DIR}/jpg.def DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)
