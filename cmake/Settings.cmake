# The end of the name of each source that differs by operating system.
set(torvane_system posix)
if(WIN32)
    set(torvane_system windows)
endif()

# What all of the project's own targets are built with. These are properties of each target, so an application that adds
# the library with add_subdirectory() keeps its own settings.
function(torvane_settings target)
    set_target_properties(
        ${target} PROPERTIES CXX_EXTENSIONS OFF CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
                             COMPILE_WARNING_AS_ERROR "${TORVANE_WARNINGS_AS_ERRORS}")
    # Files of any size, and with any number, where `long` has 32 bits.
    target_compile_definitions(${target} PRIVATE _FILE_OFFSET_BITS=64 $<$<PLATFORM_ID:Windows>:NOMINMAX>)
    torvane_warnings(${target})
    if(TORVANE_SANITIZERS)
        target_compile_options(${target} PRIVATE -fsanitize=${TORVANE_SANITIZERS} -fno-sanitize-recover=all
                                                 -fno-omit-frame-pointer)
        target_link_options(${target} PRIVATE -fsanitize=${TORVANE_SANITIZERS})
    endif()
    if(TORVANE_FUZZING)
        target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
        target_link_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
    endif()
endfunction()

# Only warnings that the compiler is known to have; none for an unknown compiler.
function(torvane_warnings target)
    if(MSVC)
        target_compile_options(${target} PRIVATE /W4)
    elseif(CMAKE_CXX_COMPILER_ID MATCHES "^(GNU|Clang|AppleClang)$")
        target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
    endif()
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # GCC 12 reports overlaps in joined strings that do not exist (its bug 105651).
        target_compile_options(${target} PRIVATE -Wno-restrict)
    endif()
endfunction()
