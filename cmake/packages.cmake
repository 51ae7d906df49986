# SPDX-License-Identifier: MIT
# Packages: `cpack` in the build folder makes three Debian packages (the shared library, what
# a caller builds with, the tool) and one zip of the whole installed tree; for Windows and for
# the device the zip alone.
set(CPACK_GENERATOR ZIP)
find_program(JPG_DPKG_DEB dpkg-deb)
if(JPG_DPKG_DEB AND CMAKE_SYSTEM_NAME STREQUAL Linux)
  list(APPEND CPACK_GENERATOR DEB)
endif()
set(CPACK_PACKAGE_NAME jpg)
set(JPG_MAINTAINER "The jpg authors <jpg@jpg.invalid>" CACHE STRING "Whom packages name")
set(CPACK_PACKAGE_VENDOR "the jpg authors")
set(CPACK_PACKAGE_CONTACT "${JPG_MAINTAINER}")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "JPEG codec library with a flat C interface")
set(JPG_PACKAGE_SYSTEM ${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR})
if(JPG_DEVICE)
  set(JPG_PACKAGE_SYSTEM device-${JPG_DEVICE_CORES})
endif()
set(CPACK_PACKAGE_FILE_NAME jpg-${PROJECT_VERSION}-${JPG_PACKAGE_SYSTEM})
set(CPACK_COMPONENTS_ALL library dev)
if(TARGET jpgtool)
  list(APPEND CPACK_COMPONENTS_ALL tool)
endif()
# A DLL goes into its zip byte by byte as it was tested; it has no symbols left to strip.
if(CMAKE_SYSTEM_NAME STREQUAL Linux)
  set(CPACK_STRIP_FILES ON)
endif()

# Debian
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# The loader's cache is brought up to date by a trigger: no scripts to run as root.
set(JPG_DEBIAN_LIBRARY libjpg${PROJECT_VERSION_MAJOR})
file(WRITE ${PROJECT_BINARY_DIR}/package/triggers "activate-noawait ldconfig\n")
file(WRITE ${PROJECT_BINARY_DIR}/package/shlibs
     "libjpg ${PROJECT_VERSION_MAJOR} ${JPG_DEBIAN_LIBRARY} (>= ${PROJECT_VERSION})\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA
    "${PROJECT_BINARY_DIR}/package/triggers;${PROJECT_BINARY_DIR}/package/shlibs")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${JPG_DEBIAN_LIBRARY})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS libc6)
set(CPACK_DEBIAN_DEV_PACKAGE_NAME libjpg-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS
    "${JPG_DEBIAN_LIBRARY} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_TOOL_PACKAGE_NAME jpgtool)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "libc6, libstdc++6, libgcc-s1")
set(JPG_ABOUT "It decodes baseline, extended, progressive and lossless JPEG with little
memory and the same bits on every machine, and encodes baseline, progressive
and lossless JPEG.")
foreach(pair "LIBRARY:JPEG codec library - shared library"
             "DEV:JPEG codec library - development files"
             "TOOL:decoder, encoder and inspector of JPEG files")
  string(REPLACE ":" ";" pair ${pair})
  list(GET pair 0 component)
  list(GET pair 1 about)
  set(CPACK_COMPONENT_${component}_DESCRIPTION "${about}\n${JPG_ABOUT}")
endforeach()
set(CPACK_DEBIAN_LIBRARY_PACKAGE_PRIORITY optional)

# Two builds of a commit are the same, whatever the user's mask of rights.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ
    GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_THREADS 1)
if(JPG_DEBIAN)
  include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
endif()

include(CPack)
