# 32-bit ARM with hardware floating point, built with Debian's cross compiler
# and run under its user-mode emulator.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)

set(triplet arm-linux-gnueabihf)
set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)

# The cross compiler brings the C library; what else the build needs comes from
# the sysroot. The small projects with which CMake tries the compiler read this
# file too, with build folders of their own.
set(VORN_SYSROOT "${CMAKE_BINARY_DIR}/sysroot" CACHE PATH "Where scripts/arm-sysroot has unpacked libcrypto")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VORN_SYSROOT)
if(NOT EXISTS "${VORN_SYSROOT}/usr/include")
    message(FATAL_ERROR "There is no sysroot in ${VORN_SYSROOT}. Make it with\n  scripts/arm-sysroot ${VORN_SYSROOT}")
endif()

list(APPEND CMAKE_FIND_ROOT_PATH "${VORN_SYSROOT}" /usr/${triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Some headers of libcrypto differ between architectures. The compiler looks for
# such headers beside its own C library only.
set(CMAKE_C_STANDARD_INCLUDE_DIRECTORIES "${VORN_SYSROOT}/usr/include/${triplet}")
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES "${VORN_SYSROOT}/usr/include/${triplet}")

# The linker follows the libraries of a library to the sysroot as well.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-rpath-link,${VORN_SYSROOT}/usr/lib/${triplet}")

# Programs find libcrypto by the path that they are linked with.
set(CMAKE_CROSSCOMPILING_EMULATOR "qemu-arm;-L;/usr/${triplet}")

set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
