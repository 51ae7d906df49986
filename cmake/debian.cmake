# SPDX-License-Identifier: MIT
# What Debian packages have beside the installed tree: copyright, change log, the library's symbols, the
# manual page compressed. Included where JPG_DEBIAN is on (preset debian), which installs below /usr.
find_program(JPG_GZIP gzip REQUIRED)
find_program(JPG_SHLIBDEPS dpkg-shlibdeps REQUIRED)
set(JPG_DEBIAN_LIBRARY libjpg${PROJECT_VERSION_MAJOR})
set(folder ${PROJECT_BINARY_DIR}/debian)

# The date of the change log is that of the commit, so that two builds are the same.
find_package(Git QUIET)
set(date "Thu, 01 Jan 1970 00:00:00 +0000")
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(COMMAND date -u -R -d @$ENV{SOURCE_DATE_EPOCH} OUTPUT_VARIABLE date
                  OUTPUT_STRIP_TRAILING_WHITESPACE)
endif()

# zip(out text): a compressed file without a name or a time in it.
function(jpg_zip source target)
  execute_process(COMMAND ${JPG_GZIP} -9nc ${source} OUTPUT_FILE ${target}
                  COMMAND_ERROR_IS_FATAL ANY)
endfunction()

foreach(pair library:${JPG_DEBIAN_LIBRARY} dev:libjpg-dev tool:jpgtool
             python:python3-jpg)
  string(REPLACE ":" ";" pair ${pair})
  list(GET pair 0 component)
  list(GET pair 1 package)
  file(MAKE_DIRECTORY ${folder}/${package})
  file(WRITE ${folder}/${package}/changelog
       "jpg (${PROJECT_VERSION}) unstable; urgency=medium\n\n  * See CHANGELOG.md.\n\n"
       " -- ${JPG_MAINTAINER}  ${date}\n")
  jpg_zip(${folder}/${package}/changelog ${folder}/${package}/changelog.gz)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/debian/copyright ${folder}/${package}/changelog.gz
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
endforeach()
jpg_zip(${PROJECT_SOURCE_DIR}/docs/jpgtool.1 ${folder}/jpgtool.1.gz)
install(FILES ${folder}/jpgtool.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)

# The version that a function came with: the oldest one whose list of the binary interface has it.
file(GLOB lists ${PROJECT_SOURCE_DIR}/packaging/abi/*.64.txt)
list(SORT lists COMPARE NATURAL ORDER DESCENDING)
file(STRINGS ${PROJECT_SOURCE_DIR}/src/jpg.def symbols REGEX "^  jpg")
list(SORT symbols)
set(text "libjpg.so.${PROJECT_VERSION_MAJOR} ${JPG_DEBIAN_LIBRARY} #MINVER#\n")
foreach(symbol ${symbols})
  string(STRIP "${symbol}" symbol)
  set(since ${PROJECT_VERSION})
  foreach(list ${lists})
    file(STRINGS ${list} found REGEX "^symbol T ${symbol}$")
    if(found)
      string(REGEX REPLACE ".*/(.*)\\.64\\.txt" "\\1" since ${list})
    endif()
  endforeach()
  string(APPEND text " ${symbol}@Base ${since}\n")
endforeach()
string(REPLACE "#MINVER#" "" text "${text}")
string(REPLACE "${JPG_DEBIAN_LIBRARY} \n" "${JPG_DEBIAN_LIBRARY} #MINVER#\n" text "${text}")
file(WRITE ${PROJECT_BINARY_DIR}/package/symbols "${text}")

list(APPEND CPACK_COMPONENTS_ALL python)
set(CPACK_COMPONENT_PYTHON_DESCRIPTION "JPEG pictures to and from numpy arrays\n${JPG_ABOUT}")
set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-jpg)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
    "python3 (>= 3.9), python3-numpy, ${JPG_DEBIAN_LIBRARY} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS ON)

# With dpkg-shlibdeps CPack would add scripts that call ldconfig, which the trigger does. The library
# needs nothing but the C library, of the version that it was linked with or a newer one.
execute_process(COMMAND dpkg-query -W -f "\${Version}" libc6 OUTPUT_VARIABLE libc
                COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE "-.*" "" libc "${libc}")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "libc6 (>= ${libc})")
set(CPACK_DEBIAN_TOOL_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
list(APPEND CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/package/symbols)
