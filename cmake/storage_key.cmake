# Turns the storage key file into the list of bytes that the secure data store
# is compiled from.

set(VORN_STORAGE_KEY_FILE "" CACHE FILEPATH "File whose raw bytes, 32 or more, are the storage key")

set(key_file "${VORN_STORAGE_KEY_FILE}")
if(NOT key_file)
    set(key_file "${CMAKE_CURRENT_SOURCE_DIR}/cmake/development.key")
    message(STATUS "Storage key: the public development key. Set VORN_STORAGE_KEY_FILE for a product.")
endif()
get_filename_component(key_file "${key_file}" ABSOLUTE BASE_DIR "${CMAKE_BINARY_DIR}")
if(NOT EXISTS "${key_file}" OR IS_DIRECTORY "${key_file}")
    message(FATAL_ERROR "VORN_STORAGE_KEY_FILE: there is no file ${key_file}")
endif()

file(READ "${key_file}" key_bytes HEX)
string(LENGTH "${key_bytes}" key_length)
math(EXPR key_length "${key_length} / 2")
if(key_length LESS 32)
    message(FATAL_ERROR "VORN_STORAGE_KEY_FILE: ${key_file} holds ${key_length} bytes, the storage key needs 32 or more")
endif()
string(REGEX REPLACE "(..)" "0x\\1," key_bytes "${key_bytes}")
file(CONFIGURE OUTPUT "${CMAKE_BINARY_DIR}/generated/storage_key.inc" CONTENT "@key_bytes@\n" @ONLY)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${key_file}")
