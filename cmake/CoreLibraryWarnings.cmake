# Every target of the project builds warning-free at this level; third-party
# code built in the tree (GoogleTest for the device) is left at its own level.
function(corelib_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Werror)
endfunction()
