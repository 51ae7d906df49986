# SPDX-License-Identifier: MIT
# Builds the library as a part of another project, and programs in C and C++ with it; once more it is
# only configured, by FetchContent:
# cmake -DROOT=... -DWORK=... -DC_COMPILER=... -DCXX_COMPILER=... -P embed.cmake
function(run)
  execute_process(COMMAND ${ARGV} COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET)
endfunction()

set(source ${ROOT}/tests/product/consumer/embedded)
set(common -S ${source} -G Ninja -DJPG_SOURCE=${ROOT} -DCMAKE_C_COMPILER=${C_COMPILER}
           -DCMAKE_CXX_COMPILER=${CXX_COMPILER})
file(REMOVE_RECURSE ${WORK})
run(${CMAKE_COMMAND} ${common} -B ${WORK}/fetched -DJPG_FETCH=ON)
run(${CMAKE_COMMAND} ${common} -B ${WORK}/build)
run(${CMAKE_COMMAND} --build ${WORK}/build)
run(${WORK}/build/c_with_jpg)
run(${WORK}/build/cpp_with_jpg_static)
# Nothing of ours is installed along.
run(${CMAKE_COMMAND} --install ${WORK}/build --prefix ${WORK}/installed)
if(EXISTS ${WORK}/installed)
  message(FATAL_ERROR "the other project installs our files")
endif()
