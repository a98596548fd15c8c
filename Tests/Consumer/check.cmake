# Installs the build into a staging prefix, then configures, builds and runs the consumer
# against it with CMake's package, and compiles it once more with pkg-config's flags.
set(stage ${BUILD_DIR}/consumer-stage)
set(work ${BUILD_DIR}/consumer-build)
file(REMOVE_RECURSE ${stage} ${work})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${stage}
  RESULT_VARIABLE rc OUTPUT_QUIET)
if(rc)
  message(FATAL_ERROR "install failed")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${work} -G Ninja
  -DCMAKE_PREFIX_PATH=${stage} RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "consumer configure failed")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build ${work} RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "consumer build failed")
endif()
execute_process(COMMAND ${work}/consumer RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "consumer run failed")
endif()
# pkg-config: the .pc file must give flags that compile and link the same program.
file(GLOB pcdir ${stage}/lib*/pkgconfig ${stage}/lib/*/pkgconfig)
set(ENV{PKG_CONFIG_PATH} "${pcdir}")
execute_process(COMMAND pkg-config --cflags --libs datamodel OUTPUT_VARIABLE flags
  RESULT_VARIABLE rc OUTPUT_STRIP_TRAILING_WHITESPACE)
if(rc)
  message(FATAL_ERROR "pkg-config does not know datamodel")
endif()
separate_arguments(flags UNIX_COMMAND "${flags}")
execute_process(COMMAND c++ ${CONSUMER_DIR}/main.cpp ${flags} -o ${work}/consumer-pc
  RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "pkg-config build failed")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${stage}/lib ${work}/consumer-pc
  RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "pkg-config consumer run failed")
endif()
