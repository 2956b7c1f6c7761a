# What cpack makes: one package with all components, because without the
# stand-ins a host could not load the library.

set(CPACK_PACKAGE_NAME libvorn)
set(CPACK_PACKAGE_VENDOR "libvorn maintainers")
set(CPACK_PACKAGE_CONTACT "libvorn maintainers <maintainers@vorn.invalid>")
set(CPACK_SYSTEM_NAME "${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR}")
set(CPACK_STRIP_FILES ON)
# Whatever the umask is.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_GENERATOR TGZ)

# Debian has names of its own for architectures. dpkg knows that of this machine;
# for another one the toolchain file tells it, or there is no such package.
find_program(VORN_DPKG dpkg)
mark_as_advanced(VORN_DPKG)
if(CPACK_DEBIAN_PACKAGE_ARCHITECTURE OR (VORN_DPKG AND NOT CMAKE_CROSSCOMPILING))
    list(APPEND CPACK_GENERATOR DEB)
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
file(WRITE "${CMAKE_BINARY_DIR}/generated/triggers" "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA "${CMAKE_BINARY_DIR}/generated/triggers")

set(CPACK_PROJECT_CONFIG_FILE "${PROJECT_SOURCE_DIR}/cmake/package_dependencies.cmake")
set(CPACK_VORN_LIBRARIES "${CMAKE_BINARY_DIR}")
include(CPack)
