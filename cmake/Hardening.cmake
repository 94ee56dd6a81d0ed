# What the library and the command are hardened with, as far as the compiler and the linker know it. Not for MSVC.
option(TORVANE_HARDENING "Harden the library and the command against memory faults" ON)

function(torvane_harden target)
    if(NOT TORVANE_HARDENING OR MSVC)
        return()
    endif()
    # A program at a random address consists of position-independent objects only.
    if(NOT DEFINED CMAKE_POSITION_INDEPENDENT_CODE)
        set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE ON)
    endif()
    include(CheckCXXCompilerFlag)
    include(CheckLinkerFlag)
    # Clang only warns of what it ignores on this processor. The last two guard jumps and returns, one on x86 and the
    # other on 64-bit ARM.
    set(CMAKE_REQUIRED_FLAGS -Werror)
    foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection -mbranch-protection=standard)
        string(MAKE_C_IDENTIFIER "TORVANE_HAS${flag}" has_flag)
        check_cxx_compiler_flag(${flag} ${has_flag})
        if(${has_flag})
            target_compile_options(${target} PRIVATE ${flag})
        endif()
    endforeach()
    target_compile_options(${target} PRIVATE "SHELL:-include \"${CMAKE_CURRENT_FUNCTION_LIST_DIR}/fortify.hpp\"")

    # Debian 12 starts programs with objects of glibc that are not marked for shadow stacks, though they keep to them.
    set(linker_flags -z,relro,-z,now -z,noexecstack)
    if(TORVANE_HAS_fcf_protection)
        list(APPEND linker_flags -z,shstk)
    endif()
    foreach(flag IN LISTS linker_flags)
        string(MAKE_C_IDENTIFIER "TORVANE_LINKS${flag}" has_flag)
        check_linker_flag(CXX "LINKER:${flag}" ${has_flag})
        if(${has_flag})
            target_link_options(${target} PRIVATE "LINKER:${flag}")
        endif()
    endforeach()
endfunction()
