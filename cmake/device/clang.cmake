# SPDX-License-Identifier: MIT
# Linked as a DLL of desktop Windows, since the linker knows no other, then marked as the
# device's. Its base is that of elf2pe.py: nothing but an address looks like one there.
find_program(JPG_LLD_LINK NAMES lld-link lld-link-14 REQUIRED)
set(system ${CMAKE_CURRENT_BINARY_DIR}/coredll.lib)

add_library(jpg_device OBJECT platform/device/entry.cpp platform/device/runtime7.cpp)
jpg_library_options(jpg_device device)
set_target_properties(jpg_device PROPERTIES POSITION_INDEPENDENT_CODE OFF)

add_custom_command(OUTPUT ${system}
  COMMAND ${JPG_DLLTOOL} -m arm -d ${JPG_SYSTEM_DEF} -l ${system}
  DEPENDS ${JPG_SYSTEM_DEF})
add_custom_command(OUTPUT ${JPG_DLL}
  COMMAND ${JPG_LLD_LINK} /nologo /dll /machine:arm /entry:DllEntry /nodefaultlib
          /def:${JPG_DEF} /subsystem:windows,6.00 /base:0x0E000000 /timestamp:0
          /out:${JPG_DLL} /implib:${CMAKE_CURRENT_BINARY_DIR}/linker.lib ${system}
          $<TARGET_OBJECTS:jpg_core> $<TARGET_OBJECTS:jpg_device>
  COMMAND Python3::Interpreter ${JPG_DEVICE_DIR}/mark.py ${JPG_DLL}
  DEPENDS jpg_core jpg_device $<TARGET_OBJECTS:jpg_core> $<TARGET_OBJECTS:jpg_device> ${system}
          ${JPG_DEF} ${JPG_DEVICE_DIR}/mark.py ${JPG_DEVICE_DIR}/pe.py
  COMMAND_EXPAND_LISTS)
set(JPG_LIB_COMMAND "")  # the tool's library is for this machine
