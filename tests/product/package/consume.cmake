# SPDX-License-Identifier: MIT
# Installs the built tree, moves it elsewhere and builds programs in C and C++ with it:
# cmake -DBUILD=... -DSOURCE=... -DWORK=... -DC_COMPILER=... -DCXX_COMPILER=...
#       [-DPKG_CONFIG=...] -P consume.cmake
function(run)
  execute_process(COMMAND ${ARGV} COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET)
endfunction()

file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/installed)
file(RENAME ${WORK}/installed ${WORK}/moved)

# A page to read, an example, the tool and its manual page.
foreach(file share/doc/jpg/docs/guides/reading.md share/doc/jpg/examples/preview.c bin/jpgtool
        share/man/man1/jpgtool.1)
  if(NOT EXISTS ${WORK}/moved/${file})
    message(FATAL_ERROR "${file} isn't installed")
  endif()
endforeach()

# A caller asks for the minor version that it was written for.
file(STRINGS ${WORK}/moved/include/jpg.h version REGEX "define JPG_VERSION_STRING")
string(REGEX MATCH "[0-9]+\\.[0-9]+" version "${version}")
run(${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK}/build -G Ninja -DJPG_WANTED=${version}
    -DCMAKE_C_COMPILER=${C_COMPILER} -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
    -DCMAKE_PREFIX_PATH=${WORK}/moved)
run(${CMAKE_COMMAND} --build ${WORK}/build)
foreach(language c cpp)
  run(${WORK}/build/${language}_with_jpg)
  run(${WORK}/build/${language}_with_jpg_static)
endforeach()

# A version that isn't installed isn't found.
file(WRITE ${WORK}/newer/CMakeLists.txt
     "cmake_minimum_required(VERSION 3.25)\nproject(newer NONE)\nfind_package(jpg 99.0 REQUIRED)\n")
execute_process(COMMAND ${CMAKE_COMMAND} -S ${WORK}/newer -B ${WORK}/newer/build -G Ninja
                        -DCMAKE_PREFIX_PATH=${WORK}/moved
                RESULT_VARIABLE result OUTPUT_QUIET ERROR_QUIET)
if(result EQUAL 0)
  message(FATAL_ERROR "version 99.0 was found")
endif()

# cc consumer.c $(pkg-config --cflags --libs jpg)
if(PKG_CONFIG)
  file(GLOB_RECURSE module ${WORK}/moved/*/jpg.pc)
  get_filename_component(folder ${module} DIRECTORY)
  set(ENV{PKG_CONFIG_PATH} ${folder})
  execute_process(COMMAND ${PKG_CONFIG} --cflags --libs jpg COMMAND_ERROR_IS_FATAL ANY
                  OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE)
  separate_arguments(flags)
  get_filename_component(libraries ${folder} DIRECTORY)
  set(ENV{LD_LIBRARY_PATH} ${libraries})
  run(${C_COMPILER} ${SOURCE}/consumer.c -o ${WORK}/c_with_pkg_config ${flags})
  run(${CXX_COMPILER} -std=c++17 ${SOURCE}/consumer.cpp -o ${WORK}/cpp_with_pkg_config
      ${flags})
  run(${WORK}/c_with_pkg_config)
  run(${WORK}/cpp_with_pkg_config)
endif()
