# SPDX-License-Identifier: MIT
# Builds from the tree that holds this file: vcpkg install jpg --overlay-ports=packaging/vcpkg
get_filename_component(SOURCE_PATH "${CMAKE_CURRENT_LIST_DIR}/../.." ABSOLUTE)

set(KIND jpg)
if(VCPKG_LIBRARY_LINKAGE STREQUAL "static")
  set(KIND jpg_static)
endif()
vcpkg_cmake_configure(SOURCE_PATH "${SOURCE_PATH}"
  OPTIONS -DJPG_TESTS=OFF -DJPG_EXAMPLES=OFF -DJPG_TOOL=OFF -DJPG_INSTALL_LIBRARIES=${KIND})
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(CONFIG_PATH lib/cmake/jpg)
vcpkg_fixup_pkgconfig()
file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include" "${CURRENT_PACKAGES_DIR}/debug/share")
vcpkg_install_copyright(FILE_LIST "${SOURCE_PATH}/LICENSE")
