# What cpack makes: an archive of everything, and Debian packages.

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

# A host could not load the library without the stand-ins, so these are in its
# package.
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# One that Debian itself might make of this version is newer.
set(CPACK_DEBIAN_PACKAGE_RELEASE 0vorn1)
set(CPACK_DEBIAN_PACKAGE_SOURCE libvorn)
set(debian_version "${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")

set(CPACK_DEBIAN_VORN_PACKAGE_NAME "libvorn${PROJECT_VERSION_MAJOR}")
set(CPACK_DEBIAN_VORN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_VORN_DESCRIPTION
    "A data space is an array of bytes under a short label, kept in encrypted files.")
set(CPACK_DEBIAN_VORN_PACKAGE_CONTROL_EXTRA "${generated}/shlibs;${generated}/triggers")
file(WRITE "${generated}/shlibs" "libvorn ${PROJECT_VERSION_MAJOR} ${CPACK_DEBIAN_VORN_PACKAGE_NAME} (>= ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})\n")
file(WRITE "${generated}/triggers" "activate-noawait ldconfig\n")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvorn-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${CPACK_DEBIAN_VORN_PACKAGE_NAME} (= ${debian_version})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
    "What it takes to build programs with libvorn: header, manual and documents.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME vorn)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOL_DESCRIPTION
    "A command that works on the data spaces that programs keep with libvorn.")

# Each package has a changelog of the project and one of the package.
file(STRINGS CHANGELOG.md newest REGEX "^## " LIMIT_COUNT 1)
if(NOT newest MATCHES "^## ${PROJECT_VERSION} \\(([0-9-]+)\\)$")
    message(FATAL_ERROR "CHANGELOG.md begins with \"${newest}\", but the version is ${PROJECT_VERSION}")
endif()
execute_process(COMMAND date -u -R -d "${CMAKE_MATCH_1}" OUTPUT_VARIABLE released OUTPUT_STRIP_TRAILING_WHITESPACE)
file(WRITE "${generated}/changelog.Debian" "libvorn (${debian_version}) UNRELEASED; urgency=medium

  * Version ${PROJECT_VERSION}: see the project's own changelog.

 -- ${CPACK_PACKAGE_CONTACT}  ${released}
")
vorn_compress("${generated}/changelog.Debian" "${generated}/changelog.Debian.gz")
vorn_compress("${PROJECT_SOURCE_DIR}/CHANGELOG.md" "${generated}/changelog.gz")

get_cmake_property(components COMPONENTS)
set(CPACK_COMPONENTS_ALL "")
foreach(component IN ITEMS vorn development tool platform)
    if(component IN_LIST components)
        list(APPEND CPACK_COMPONENTS_ALL ${component})
        string(TOUPPER ${component} package)
        set(CPACK_COMPONENT_${package}_GROUP ${component})
    endif()
    if(component IN_LIST components AND NOT component STREQUAL "platform")
        list(APPEND CPACK_COMPONENTS_ALL changelog-${component})
        string(TOUPPER CPACK_COMPONENT_CHANGELOG-${component}_GROUP group)
        set(${group} ${component})
        install(FILES "${generated}/changelog.gz" "${generated}/changelog.Debian.gz"
            DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/${CPACK_DEBIAN_${package}_PACKAGE_NAME}"
            COMPONENT changelog-${component} EXCLUDE_FROM_ALL)
    endif()
endforeach()
set(CPACK_COMPONENT_PLATFORM_GROUP vorn)

set(CPACK_PROJECT_CONFIG_FILE "${PROJECT_SOURCE_DIR}/cmake/package_dependencies.cmake")
set(CPACK_VORN_BUILD "${PROJECT_BINARY_DIR}")
include(CPack)
