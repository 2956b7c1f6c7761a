# What an installation consists of. Components: vorn, the library; development,
# what it takes to build with it; platform, a host's stand-ins; tool.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(generated "${PROJECT_BINARY_DIR}/generated")
set(config_dir "${CMAKE_INSTALL_LIBDIR}/cmake/vorn")
set(doc_dir "${CMAKE_INSTALL_DATAROOTDIR}/doc/libvorn-dev")

install(TARGETS vorn EXPORT vorn-targets
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT vorn NAMELINK_COMPONENT development
    INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
install(FILES include/vorn.h DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT development)
if(VORN_PLATFORM STREQUAL "host")
    install(TARGETS vorn_dlog vorn_app_common
        LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}/vorn-platform" COMPONENT platform)
endif()

# vorn_compress(FILE RESULT): for the manual and the changelog, which are
# installed compressed.
function(vorn_compress file result)
    execute_process(COMMAND gzip -9nc "${file}" OUTPUT_FILE "${result}" RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "gzip cannot compress ${file}")
    endif()
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${file}")
endfunction()

vorn_compress("${PROJECT_SOURCE_DIR}/man/vorn.3" "${generated}/vorn.3.gz")
install(FILES "${generated}/vorn.3.gz" DESTINATION "${CMAKE_INSTALL_MANDIR}/man3" COMPONENT development)
install(FILES README.md DESTINATION "${doc_dir}" COMPONENT development)
install(DIRECTORY docs examples DESTINATION "${doc_dir}" COMPONENT development
    FILES_MATCHING PATTERN "*.md" PATTERN "*.c")

# For pkg-config. The prefix is told by way of the file's own place, since it may
# be chosen as late as on installation.
file(RELATIVE_PATH up_to_prefix "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
foreach(dir IN ITEMS LIBDIR INCLUDEDIR)
    set(pc_${dir} "\${prefix}/${CMAKE_INSTALL_${dir}}")
    if(IS_ABSOLUTE "${CMAKE_INSTALL_${dir}}")
        set(pc_${dir} "${CMAKE_INSTALL_${dir}}")
    endif()
endforeach()
configure_file(cmake/vorn.pc.in "${generated}/vorn.pc" @ONLY)
install(FILES "${generated}/vorn.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT development)

# For find_package(vorn). A program needs none of the library's own libraries to
# be found, so the targets are all there is to it.
write_basic_package_version_file("${generated}/vorn-config-version.cmake" COMPATIBILITY SameMajorVersion)
install(FILES cmake/vorn-config.cmake "${generated}/vorn-config-version.cmake"
    DESTINATION "${config_dir}" COMPONENT development)
install(EXPORT vorn-targets NAMESPACE vorn:: DESTINATION "${config_dir}" COMPONENT development)

if(VORN_TOP_LEVEL)
    add_custom_target(uninstall
        COMMAND "${CMAKE_COMMAND}" "-DBUILD=${PROJECT_BINARY_DIR}" -P "${PROJECT_SOURCE_DIR}/cmake/uninstall.cmake"
        VERBATIM)
    include(cmake/packages.cmake)
endif()
