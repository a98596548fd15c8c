# Compiler warnings shared by every target of the project.
function(dm_set_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic)
  if(DM_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
