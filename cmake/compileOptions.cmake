# How the program is compiled, whatever the build: warnings that a compiler may know, and hardening.
include(CheckCXXCompilerFlag)
include(CheckPIESupported)

set(KVX_WARNINGS -Wall -Wextra)
set(KVX_HARDENING)

function(add_supported list)
    foreach(flag IN LISTS ARGN)
        string(MAKE_C_IDENTIFIER "KVX_HAS${flag}" known)
        check_cxx_compiler_flag("${flag}" ${known})
        if(${known})
            list(APPEND ${list} "${flag}")
        endif()
    endforeach()
    set(${list} "${${list}}" PARENT_SCOPE)
endfunction()

# -Wno-format-y2k: the date of the report is printed as the locale has it.
add_supported(KVX_WARNINGS -Wformat=2 -Wno-format-y2k -Wconversion -Wshadow=local -Wcast-qual -Wduplicated-cond
    -Wduplicated-branches -Wlogical-op -Wnull-dereference -Wvla -Wundef -Wpointer-arith -Wmissing-declarations
    -Wredundant-decls)

# Tests hold one statement a line.
set(KVX_TEST_WARNINGS)
add_supported(KVX_TEST_WARNINGS -Wcomma)

# Sanitizers watch what these would; the checked library calls need an optimizing build.
if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
    add_supported(KVX_HARDENING -fstack-protector-strong -fstack-clash-protection -fcf-protection)
    list(APPEND KVX_HARDENING $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
endif()
check_pie_supported(LANGUAGES CXX)

# What a linker for ppc64le has to be told of the static C++ runtime. Its thread-local variables must be reached without a
# shortcut that calls into the loader of C library 2.22 or later. And functions for threads, which libraries before 2.34 lack,
# must all be looked up at the start: the runtime looks for one of them and then calls others.
set(KVX_STATIC_RUNTIME)
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "ppc64le")
    set(KVX_STATIC_RUNTIME LINKER:--no-tls-get-addr-optimize,-z,dynamic-undefined-weak)
endif()

# --as-needed: the program has to start, and to tell, where the C++ runtime is missing that a level asks for; of that
# runtime it uses nothing but what the compiler writes into it.
function(harden target)
    target_compile_options(${target} PRIVATE ${KVX_WARNINGS} ${KVX_HARDENING})
    set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE ON)
    target_link_options(${target} PRIVATE LINKER:--as-needed,-z,relro,-z,now,-z,noexecstack)
endfunction()

# A program that goes with kvxprereqcheck: it brings the C++ runtime with it, so that it needs no more of a host than the
# C library, the oldest that its compiler can build for.
function(companion target)
    harden(${target})
    target_link_options(${target} PRIVATE -static-libstdc++ -static-libgcc ${KVX_STATIC_RUNTIME})
    without_compilers_note(${target})
endfunction()

# A program that is installed. The names of its compilers are in the release's provenance, not in the program.
function(without_compilers_note target)
    add_custom_command(TARGET ${target} POST_BUILD
        COMMAND ${CMAKE_OBJCOPY} --remove-section=.comment $<TARGET_FILE:${target}> VERBATIM)
endfunction()
