# SPDX-License-Identifier: MIT
# The exported functions' names for the preprocessor.

# jpg_write_exports(): exports.inc in the current build folder, an EXPORT(name) for each
# function of the .def file, in its order.
function(jpg_write_exports)
  set(def ${PROJECT_SOURCE_DIR}/src/jpg.def)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${def})
  file(STRINGS ${def} names REGEX "^ ")
  list(TRANSFORM names STRIP)
  list(TRANSFORM names REPLACE "(.+)" "EXPORT(\\1)")
  list(JOIN names "\n" text)
  file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/exports.inc CONTENT "${text}\n" @ONLY)
endfunction()
