# Read by cpack when everything is built: what the Debian packages depend on, as
# their own files tell it. dpkg's own tool knows only about libraries that dpkg
# has installed, and so not about those of a cross build.

cmake_minimum_required(VERSION 3.18)

# vorn_libc(RESULT FILE...): the newest version of glibc that one of them needs.
function(vorn_libc result)
    set(versions "")
    foreach(file IN LISTS ARGN)
        file(STRINGS "${file}" found REGEX "^GLIBC_[0-9.]+$")
        list(APPEND versions ${found})
    endforeach()
    list(SORT versions COMPARE NATURAL ORDER DESCENDING)
    list(GET versions 0 newest)
    string(REPLACE "GLIBC_" "" newest "${newest}")
    set(${result} "libc6 (>= ${newest})" PARENT_SCOPE)
endfunction()

# Some releases add the width of time_t to the name of libcrypto's package; none
# of the functions that are called has to do with time.
file(STRINGS "${CPACK_VORN_BUILD}/libvorn.so" libcrypto REGEX "^libcrypto\\.so\\.[0-9.]+$" LIMIT_COUNT 1)
string(REPLACE "libcrypto.so." "libssl" libssl "${libcrypto}")

file(GLOB libraries "${CPACK_VORN_BUILD}/libvorn.so" "${CPACK_VORN_BUILD}/vorn-platform/lib*.so")
vorn_libc(libc ${libraries})
set(CPACK_DEBIAN_VORN_PACKAGE_DEPENDS "${libc}, ${libssl} | ${libssl}t64")

if(tool IN_LIST CPACK_COMPONENTS_ALL)
    vorn_libc(libc "${CPACK_VORN_BUILD}/vorn")
    set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "${libc}, ${CPACK_DEBIAN_VORN_PACKAGE_NAME} (>= ${CPACK_PACKAGE_VERSION})")
endif()
