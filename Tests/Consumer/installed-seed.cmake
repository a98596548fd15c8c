# Installs the build into a fresh prefix and runs the installed dmctl on an empty data
# directory: the handbook must come up from the English seed installed with the library,
# with no host step.
set(stage ${BUILD_DIR}/seed-stage)
set(data ${BUILD_DIR}/seed-stage-data)
file(REMOVE_RECURSE ${stage} ${data})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${stage}
  RESULT_VARIABLE rc OUTPUT_QUIET)
if(rc)
  message(FATAL_ERROR "install failed")
endif()
# The installed tool may not carry a run path to its library yet.
file(GLOB_RECURSE library ${stage}/libdatamodel.so)
get_filename_component(libdir "${library}" DIRECTORY)
execute_process(COMMAND ${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${libdir}
  ${stage}/bin/dmctl --data-dir ${data} --json handbook status
  OUTPUT_VARIABLE out ERROR_VARIABLE err RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "installed dmctl failed: ${err}")
endif()
string(JSON language GET "${out}" savedLanguage)
string(JSON exercises GET "${out}" counts HandbookPostExerciseEntity)
string(JSON products GET "${out}" counts HandbookPostProductEntity)
if(NOT language STREQUAL "en" OR exercises LESS 1 OR products LESS 1)
  message(FATAL_ERROR "the shipped seed was not restored: ${out}")
endif()
message(STATUS "restored the shipped seed: ${exercises} exercises, ${products} products")
file(REMOVE_RECURSE ${stage} ${data})
