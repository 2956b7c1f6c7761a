# The version stands in vorn.h alone: as numbers, and as the text that they make.

file(READ "${CMAKE_CURRENT_LIST_DIR}/../include/vorn.h" header)
set(VORN_VERSION "")
foreach(part IN ITEMS MAJOR MINOR PATCH)
    if(header MATCHES "#define VORN_VERSION_${part} ([0-9]+)\n")
        list(APPEND VORN_VERSION "${CMAKE_MATCH_1}")
    endif()
endforeach()
list(JOIN VORN_VERSION "." VORN_VERSION)
if(NOT header MATCHES "#define VORN_VERSION \"${VORN_VERSION}\"\n")
    message(FATAL_ERROR "vorn.h: the numbers of the version are ${VORN_VERSION}, VORN_VERSION is something else")
endif()
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${CMAKE_CURRENT_LIST_DIR}/../include/vorn.h")
