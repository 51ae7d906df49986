# The device's DLL, made of the core's objects and the device's own: jpg.dll in the build
# folder. Included by src/CMakeLists.txt when the toolchain file sets JPG_DEVICE.
find_package(Python3 REQUIRED COMPONENTS Interpreter)
set(JPG_DEVICE_DIR ${PROJECT_SOURCE_DIR}/cmake/device)
set(JPG_DLL ${PROJECT_BINARY_DIR}/jpg.dll)

set_target_properties(jpg_core PROPERTIES POSITION_INDEPENDENT_CODE OFF)

# Linked at address 0 by jpg.ld, relocations kept, then rewritten as PE.
enable_language(ASM)
add_executable(jpg_image platform/device/entry.cpp platform/device/imports.S
  $<TARGET_OBJECTS:jpg_core>)
jpg_library_options(jpg_image device)
set_target_properties(jpg_image PROPERTIES POSITION_INDEPENDENT_CODE OFF OUTPUT_NAME jpg.elf
  LINK_DEPENDS ${JPG_DEVICE_DIR}/jpg.ld)
target_link_options(jpg_image PRIVATE -nostdlib -static -no-pie -Wl,--emit-relocs
  -Wl,--build-id=none -Wl,-T,${JPG_DEVICE_DIR}/jpg.ld)
target_link_libraries(jpg_image PRIVATE gcc)

add_custom_command(OUTPUT ${JPG_DLL}
  COMMAND Python3::Interpreter ${JPG_DEVICE_DIR}/elf2pe.py $<TARGET_FILE:jpg_image>
          ${CMAKE_CURRENT_SOURCE_DIR}/jpg.def ${JPG_DLL}
  DEPENDS jpg_image jpg.def ${JPG_DEVICE_DIR}/elf2pe.py ${JPG_DEVICE_DIR}/pe.py)
add_custom_target(jpg_dll ALL DEPENDS ${JPG_DLL})
