# Every target of the project builds warning-free at this level; third-party
# code built in the tree (GoogleTest for the device) is left at its own level.
# The fuzzing configuration, built with clang, keeps the warnings but not the
# error, so a diagnostic only clang gives cannot stop a fuzzing run.
option(CORELIB_WERROR "Treat warnings as errors" ON)
function(corelib_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra $<$<BOOL:${CORELIB_WERROR}>:-Werror>)
endfunction()
