# The one set of warnings that all of the project's own code is built with.
function(torvane_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
                                             $<$<BOOL:${TORVANE_WARNINGS_AS_ERRORS}>:-Werror>)
endfunction()
