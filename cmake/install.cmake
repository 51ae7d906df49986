# SPDX-License-Identifier: MIT
# What a caller's build asks for: a CMake package (jpg::jpg, jpg::jpg_static) and a
# pkg-config file, both valid wherever the installed tree is moved to.
include(CMakePackageConfigHelpers)

set(JPG_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/jpg)
install(EXPORT jpgTargets NAMESPACE jpg:: DESTINATION ${JPG_PACKAGE_DIR} COMPONENT dev)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/jpgConfig.cmake.in
  ${PROJECT_BINARY_DIR}/package/jpgConfig.cmake INSTALL_DESTINATION ${JPG_PACKAGE_DIR})
# Before 1.0 a minor version may change the interface.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/package/jpgConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/package/jpgConfig.cmake
              ${PROJECT_BINARY_DIR}/package/jpgConfigVersion.cmake
        DESTINATION ${JPG_PACKAGE_DIR} COMPONENT dev)

# Folders relative to the prefix move with the tree; absolute ones stay.
set(JPG_PC_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(JPG_PC_LIBDIR ${CMAKE_INSTALL_LIBDIR})
  set(JPG_PC_PREFIX ".")
else()
  set(JPG_PC_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
  file(RELATIVE_PATH JPG_PC_PREFIX "/${JPG_PC_DIR}" "/")
  string(REGEX REPLACE "/$" "" JPG_PC_PREFIX "${JPG_PC_PREFIX}")
endif()
if(IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
  set(JPG_PC_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR})
else()
  set(JPG_PC_INCLUDEDIR "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/jpg.pc.in ${PROJECT_BINARY_DIR}/package/jpg.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/package/jpg.pc DESTINATION ${JPG_PC_DIR} COMPONENT dev)

include(${PROJECT_SOURCE_DIR}/cmake/pages.cmake)
