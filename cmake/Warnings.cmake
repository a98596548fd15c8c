# Compiler warnings shared by every target of the project.
function(dm_set_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic)
  # GCC 12 reports "maybe uninitialized" inside std::variant copies of dm::Value once tests are
  # inlined; the values are always constructed, and the warning comes and goes with inlining.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${target} PRIVATE -Wno-maybe-uninitialized)
  endif()
  if(DM_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
