# What an installation and the packages consist of.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(generated "${CMAKE_BINARY_DIR}/generated")
set(config_dir "${CMAKE_INSTALL_LIBDIR}/cmake/vorn")
set(pkgconfig_dir "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

install(TARGETS vorn EXPORT vorn-targets
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT vorn
    FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT vorn)
install(FILES man/vorn.3 DESTINATION "${CMAKE_INSTALL_MANDIR}/man3" COMPONENT vorn)

# The library finds the stand-ins beside itself. They are exported because a
# linker that follows the library to its own libraries has to be told where these
# are. A device has them in its system, and looks nowhere else.
if(VORN_PLATFORM STREQUAL "host")
    set_target_properties(vorn PROPERTIES INSTALL_RPATH "\$ORIGIN")
    install(TARGETS dlog capi-appfw-app-common EXPORT vorn-targets
        LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT platform)
endif()

# Built as it is installed: nothing is left to be changed in the file, and CMake
# need not reserve room for that with an empty search path, which would mean the
# current directory. Only where the build's own programs could not find libcrypto
# then, as in a cross build, is its path built in, for them.
cmake_path(GET OPENSSL_CRYPTO_LIBRARY PARENT_PATH libcrypto_dir)
if(VORN_PLATFORM STREQUAL "device" OR libcrypto_dir IN_LIST CMAKE_C_IMPLICIT_LINK_DIRECTORIES)
    set_target_properties(vorn PROPERTIES BUILD_WITH_INSTALL_RPATH ON)
endif()

# For pkg-config. The prefix is told by way of the file's own place, since it may
# be chosen as late as on installation.
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
    BASE_DIRECTORY "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" OUTPUT_VARIABLE up_to_prefix)
foreach(dir IN ITEMS LIBDIR INCLUDEDIR)
    set(pc_${dir} "\${prefix}")
    cmake_path(APPEND pc_${dir} "${CMAKE_INSTALL_${dir}}")
endforeach()
configure_file(cmake/vorn.pc.in "${generated}/vorn.pc" @ONLY)
install(FILES "${generated}/vorn.pc" DESTINATION "${pkgconfig_dir}" COMPONENT vorn)

# For find_package(vorn). A program needs none of the library's own libraries to
# be found, so the targets are all there is to it.
write_basic_package_version_file("${generated}/vorn-config-version.cmake" COMPATIBILITY SameMajorVersion)
install(FILES cmake/vorn-config.cmake "${generated}/vorn-config-version.cmake"
    DESTINATION "${config_dir}" COMPONENT vorn)
install(EXPORT vorn-targets NAMESPACE vorn:: DESTINATION "${config_dir}" COMPONENT vorn)

include(cmake/packages.cmake)
