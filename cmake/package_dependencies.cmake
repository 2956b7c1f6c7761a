# Read by cpack when everything is built: what a Debian package depends on, as
# the libraries themselves tell it. dpkg's own tool knows only about libraries
# that dpkg has installed, and so not about those of a cross build.

set(depends "")

file(GLOB libraries "${CPACK_VORN_LIBRARIES}/lib*.so")
set(glibc_versions "")
foreach(library IN LISTS libraries)
    file(STRINGS "${library}" versions REGEX "^GLIBC_[0-9.]+$")
    list(APPEND glibc_versions ${versions})
endforeach()
if(glibc_versions)
    list(SORT glibc_versions COMPARE NATURAL ORDER DESCENDING)
    list(GET glibc_versions 0 newest)
    string(REPLACE "GLIBC_" "" newest "${newest}")
    list(APPEND depends "libc6 (>= ${newest})")
endif()

# Some releases add the width of time_t to the name of libcrypto's package; none
# of the functions that are called has to do with time.
file(STRINGS "${CPACK_VORN_LIBRARIES}/libvorn.so" libcrypto REGEX "^libcrypto\\.so\\.[0-9.]+$" LIMIT_COUNT 1)
if(libcrypto)
    string(REPLACE "libcrypto.so." "libssl" libssl "${libcrypto}")
    list(APPEND depends "${libssl} | ${libssl}t64")
endif()

list(JOIN depends ", " CPACK_DEBIAN_PACKAGE_DEPENDS)
