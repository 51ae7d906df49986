# SPDX-License-Identifier: MIT
# The device's DLL, made of the core's objects and the device's own: jpg.dll in the build
# folder, and jpg.lib for programs that link it. Included by src/CMakeLists.txt when the
# toolchain file sets JPG_DEVICE.
#
# coredll.def lists what the DLL takes from the system library.
find_package(Python3 REQUIRED COMPONENTS Interpreter)
find_program(JPG_DLLTOOL NAMES llvm-dlltool llvm-dlltool-14 REQUIRED)
set(JPG_DEVICE_DIR ${PROJECT_SOURCE_DIR}/cmake/device)
set(JPG_DEF ${CMAKE_CURRENT_SOURCE_DIR}/jpg.def)
set(JPG_SYSTEM_DEF ${CMAKE_CURRENT_SOURCE_DIR}/platform/device/coredll.def)
set(JPG_DLL ${PROJECT_BINARY_DIR}/jpg.dll)
set(JPG_LIB ${PROJECT_BINARY_DIR}/jpg.lib)

set_target_properties(jpg_core PROPERTIES POSITION_INDEPENDENT_CODE OFF)
include(${JPG_DEVICE_DIR}/${JPG_DEVICE}.cmake)

add_custom_command(OUTPUT ${JPG_LIB}
  COMMAND ${JPG_DLLTOOL} -m arm -D jpg.dll -d ${JPG_DEF} -l ${JPG_LIB}
  COMMAND ${JPG_LIB_COMMAND}
  DEPENDS ${JPG_DEF} ${JPG_DEVICE_DIR}/implib.py ${JPG_DEVICE_DIR}/pe.py)
add_custom_target(jpg_dll ALL DEPENDS ${JPG_DLL} ${JPG_LIB})

install(FILES ${JPG_DLL} DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT library)
install(FILES ${JPG_LIB} ${JPG_DEF} DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)
install(FILES ${PROJECT_SOURCE_DIR}/include/jpg.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        COMPONENT dev)
include(${PROJECT_SOURCE_DIR}/cmake/pages.cmake)
