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
    set(stack_protector -fstack-protector-strong)
    set(cf_protection -fcf-protection)
    if(CMAKE_BUILD_TYPE STREQUAL "MinSizeRel")
        # Most functions have no larger array on the stack than the 16 bytes in a std::string. Linux does not check the
        # marks of jump targets in applications.
        set(stack_protector -fstack-protector --param=ssp-buffer-size=17)
        set(cf_protection -fcf-protection=return)
    endif()
    # Clang only warns of what it ignores on this processor. The last two guard jumps and returns, one on x86 and the
    # other on 64-bit ARM.
    set(CMAKE_REQUIRED_FLAGS -Werror)
    foreach(flag ${stack_protector} -fstack-clash-protection ${cf_protection} -mbranch-protection=standard)
        string(MAKE_C_IDENTIFIER "TORVANE_HAS${flag}" has_flag)
        check_cxx_compiler_flag(${flag} ${has_flag})
        if(${has_flag})
            target_compile_options(${target} PRIVATE ${flag})
        endif()
    endforeach()
    target_compile_options(${target} PRIVATE "SHELL:-include \"${CMAKE_CURRENT_FUNCTION_LIST_DIR}/fortify.hpp\"")

    # Debian 12 starts programs with objects of glibc that are not marked for shadow stacks, though they keep to them.
    set(linker_flags -z,relro,-z,now -z,noexecstack)
    string(MAKE_C_IDENTIFIER "TORVANE_HAS${cf_protection}" has_cf_protection)
    if(${has_cf_protection})
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
