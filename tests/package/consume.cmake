# Installs the built tree, moves it elsewhere and builds a program with it:
# cmake -DBUILD=... -DSOURCE=... -DWORK=... -DC_COMPILER=... [-DPKG_CONFIG=...] -P consume.cmake
function(run)
  execute_process(COMMAND ${ARGV} COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET)
endfunction()

file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/installed)
file(RENAME ${WORK}/installed ${WORK}/moved)

run(${CMAKE_COMMAND} -S ${SOURCE}/consumer -B ${WORK}/build -G Ninja
    -DCMAKE_C_COMPILER=${C_COMPILER} -DCMAKE_PREFIX_PATH=${WORK}/moved)
run(${CMAKE_COMMAND} --build ${WORK}/build)
run(${WORK}/build/with_jpg)
run(${WORK}/build/with_jpg_static)

if(PKG_CONFIG)
  file(GLOB_RECURSE module ${WORK}/moved/*/jpg.pc)
  get_filename_component(folder ${module} DIRECTORY)
  set(ENV{PKG_CONFIG_PATH} ${folder})
  execute_process(COMMAND ${PKG_CONFIG} --cflags --libs jpg COMMAND_ERROR_IS_FATAL ANY
                  OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE)
  separate_arguments(flags)
  run(${C_COMPILER} ${SOURCE}/consumer/consumer.c -o ${WORK}/with_pkg_config ${flags})
  get_filename_component(libraries ${folder} DIRECTORY)
  set(ENV{LD_LIBRARY_PATH} ${libraries})
  run(${WORK}/with_pkg_config)
endif()
