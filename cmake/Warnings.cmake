# The one set of warnings that all of the project's own code is built with.
function(torvane_warnings target)
    # GCC 12 sees overlaps in joined strings that are not there (its bug 105651).
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict> -Wall -Wextra -Wpedantic -Wshadow -Wconversion
                                             $<$<BOOL:${TORVANE_WARNINGS_AS_ERRORS}>:-Werror>)
endfunction()
