# SPDX-License-Identifier: MIT
# What jpgtool is made of beside the library: nlohmann/json, which is headers alone and so serves
# every target, and libpng, without which the tool has no PNG.
option(JPG_TOOL "Build jpgtool" ${JPG_TOP})
option(JPG_TOOL_PNG "Read and write PNG files in jpgtool, where libpng is there" ON)

find_path(JPG_JSON_ROOT nlohmann/json.hpp HINTS /usr/include NO_CMAKE_FIND_ROOT_PATH)
if(JPG_JSON_ROOT)
  # A folder of its own, so that headers of this machine don't come along for another one.
  set(JPG_JSON_DIR ${PROJECT_BINARY_DIR}/json)
  file(MAKE_DIRECTORY ${JPG_JSON_DIR})
  file(CREATE_LINK ${JPG_JSON_ROOT}/nlohmann ${JPG_JSON_DIR}/nlohmann COPY_ON_ERROR SYMBOLIC)
elseif(JPG_TOOL)
  message(STATUS "jpgtool is not built: nlohmann/json (nlohmann-json3-dev) is missing")
endif()
# MemorySanitizer would want an instrumented one.
if(JPG_TOOL AND JPG_TOOL_PNG AND NOT CMAKE_CROSSCOMPILING AND NOT JPG_MSAN)
  find_package(PNG QUIET)
endif()
if(JPG_TOOL AND NOT PNG_FOUND)
  message(STATUS "jpgtool is built without PNG")
endif()
