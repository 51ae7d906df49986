# SPDX-License-Identifier: MIT
# Linked at address 0 by jpg.ld, relocations kept, then rewritten as PE.
enable_language(ASM)

# One "import NAME" for each of the system's functions, for imports.S.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${JPG_SYSTEM_DEF})
file(STRINGS ${JPG_SYSTEM_DEF} names REGEX "^ ")
list(TRANSFORM names PREPEND "import")
list(JOIN names "\n" names)
file(CONFIGURE OUTPUT imports.inc CONTENT "${names}\n" @ONLY)

add_executable(jpg_image platform/device/entry.cpp platform/device/imports.S
  $<TARGET_OBJECTS:jpg_core>)
jpg_library_options(jpg_image device)
target_include_directories(jpg_image PRIVATE ${CMAKE_CURRENT_BINARY_DIR})
set_target_properties(jpg_image PROPERTIES POSITION_INDEPENDENT_CODE OFF OUTPUT_NAME jpg.elf
  LINK_DEPENDS ${JPG_DEVICE_DIR}/jpg.ld)
target_link_options(jpg_image PRIVATE -nostdlib -static -no-pie -Wl,--emit-relocs
  -Wl,--build-id=none -Wl,-T,${JPG_DEVICE_DIR}/jpg.ld)
target_link_libraries(jpg_image PRIVATE gcc)

add_custom_command(OUTPUT ${JPG_DLL}
  COMMAND Python3::Interpreter ${JPG_DEVICE_DIR}/elf2pe.py $<TARGET_FILE:jpg_image> ${JPG_DEF}
          ${JPG_DLL}
  DEPENDS jpg_image ${JPG_DEF} ${JPG_DEVICE_DIR}/elf2pe.py ${JPG_DEVICE_DIR}/pe.py)
set(JPG_LIB_COMMAND Python3::Interpreter ${JPG_DEVICE_DIR}/implib.py ${JPG_LIB})
