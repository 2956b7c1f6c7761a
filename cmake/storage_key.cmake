# Turns the storage key file into the list of bytes that the secure data store
# is compiled from.

# Only the owner may read the list, from its first byte on. It is left as it is
# where it is right, so that nothing is compiled again.
function(vorn_write_private path content)
    if(NOT EXISTS "${path}")
        file(WRITE "${path}" "")
    endif()
    execute_process(COMMAND chmod 600 "${path}")
    file(READ "${path}" present)
    if(NOT "${present}" STREQUAL "${content}")
        file(WRITE "${path}" "${content}")
    endif()
endfunction()

# vorn_storage_key(FILE FOLDER): writes FOLDER/storage_key.inc.
function(vorn_storage_key key_file folder)
    if(NOT EXISTS "${key_file}" OR IS_DIRECTORY "${key_file}")
        message(FATAL_ERROR "VORN_STORAGE_KEY_FILE: there is no file ${key_file}")
    endif()
    file(READ "${key_file}" digits HEX)
    string(LENGTH "${digits}" length)
    math(EXPR length "${length} / 2")
    if(length LESS 32)
        message(FATAL_ERROR "VORN_STORAGE_KEY_FILE: ${key_file} holds ${length} bytes, the storage key needs 32 or more")
    endif()

    string(REGEX REPLACE "(..)" "0x\\1," bytes "${digits}")
    string(REGEX REPLACE "0x(3[0-9]|[46][1-6]|0[ad])," "" not_hexadecimal "${bytes}")
    string(REGEX REPLACE "0x(0[9ad]|[2-6][0-9a-f]|7[0-9a-e])," "" not_text "${bytes}")
    if(NOT not_hexadecimal)
        set(looks_like "hexadecimal digits")
    elseif(NOT not_text)
        set(looks_like "text")
    endif()
    if(looks_like AND NOT key_file STREQUAL VORN_DEVELOPMENT_KEY)
        message(WARNING "VORN_STORAGE_KEY_FILE: ${key_file} holds nothing but ${looks_like}. "
            "Its bytes are the key as they are, and such ones are far easier to guess than random ones.")
    endif()

    vorn_write_private("${folder}/storage_key.inc" "${bytes}\n")
    set_property(DIRECTORY "${PROJECT_SOURCE_DIR}" APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${key_file}")
endfunction()

set(VORN_DEVELOPMENT_KEY "${CMAKE_CURRENT_SOURCE_DIR}/cmake/development.key")
if(VORN_STORAGE_KEY_FILE)
    get_filename_component(key_file "${VORN_STORAGE_KEY_FILE}" ABSOLUTE BASE_DIR "${PROJECT_BINARY_DIR}")
    message(STATUS "Storage key: ${key_file}")
elseif(VORN_PLATFORM STREQUAL "host")
    set(key_file "${VORN_DEVELOPMENT_KEY}")
    message(STATUS "Storage key: the public development key. Set VORN_STORAGE_KEY_FILE for a product.")
else()
    message(FATAL_ERROR "A library for a device needs a storage key of its own. Make one and keep it secret:\n"
        "  openssl rand -out KEY 32\n"
        "Then configure with -DVORN_STORAGE_KEY_FILE=KEY.")
endif()
vorn_storage_key("${key_file}" "${PROJECT_BINARY_DIR}/generated")
