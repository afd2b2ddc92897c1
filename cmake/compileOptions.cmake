# Compiler options of every build: the warnings that the compiler knows, and hardening.
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

# -Wno-format-y2k: the report prints the date in the form of the C library's locale.
add_supported(KVX_WARNINGS -Wformat=2 -Wno-format-y2k -Wconversion -Wshadow=local -Wcast-qual -Wduplicated-cond
    -Wduplicated-branches -Wlogical-op -Wnull-dereference -Wvla -Wundef -Wpointer-arith -Wmissing-declarations
    -Wredundant-decls -Wreserved-identifier)

# Tests hold one statement a line.
set(KVX_TEST_WARNINGS)
add_supported(KVX_TEST_WARNINGS -Wcomma)

# Not with sanitizers, which check the same. The checked library calls need an optimizing build.
if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
    add_supported(KVX_HARDENING -fstack-protector-strong -fstack-clash-protection -fcf-protection)
    list(APPEND KVX_HARDENING $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
endif()
check_pie_supported(LANGUAGES CXX)

# Linker options for the static C++ runtime on ppc64le. First, do not optimize access to its thread-local variables: that calls
# the loader of C library 2.22 or later. Second, look up all thread functions at the start: C libraries before 2.34 lack them,
# and the runtime looks for one of them and then calls others.
set(KVX_STATIC_RUNTIME)
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "ppc64le")
    set(KVX_STATIC_RUNTIME LINKER:--no-tls-get-addr-optimize,-z,dynamic-undefined-weak)
endif()

# --as-needed: the program must start on a host without the C++ runtime, to report that. It uses only what the compiler copies
# from that runtime into the program.
function(harden target)
    target_compile_options(${target} PRIVATE ${KVX_WARNINGS} ${KVX_HARDENING})
    set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE ON)
    target_link_options(${target} PRIVATE LINKER:--as-needed,-z,relro,-z,now,-z,noexecstack)
endfunction()

# Builds a companion: it contains the C++ runtime, so it needs only the C library of the host, from the oldest one on that the
# compiler can build for.
function(companion target)
    harden(${target})
    target_link_options(${target} PRIVATE -static-libstdc++ -static-libgcc ${KVX_STATIC_RUNTIME})
    without_compilers_note(${target})
endfunction()

# For programs that are installed: removes the note about the compilers. SHA256SUMS of a release names them.
function(without_compilers_note target)
    add_custom_command(TARGET ${target} POST_BUILD
        COMMAND ${CMAKE_OBJCOPY} --remove-section=.comment $<TARGET_FILE:${target}> VERBATIM)
endfunction()
