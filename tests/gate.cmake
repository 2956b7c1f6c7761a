# The library's sources once more, linked so that every call out of them goes
# through the gate. Fortified calls would have other names.
function(vorn_gated_executable target)
    set(here "${PROJECT_SOURCE_DIR}/tests")
    set(read_record _Z14sd_read_recordPK8sd_tablejPPKhPj)
    add_executable(${target} ${ARGN}
        "${here}/directory.cpp" "${here}/gate.cpp" "${here}/play.cpp" "${here}/worlds.cpp")
    target_include_directories(${target} PRIVATE "${here}")
    target_link_libraries(${target} PRIVATE vorn_sources vorn_flags OpenSSL::Crypto)
    target_compile_options(${target} PRIVATE -fexceptions -frtti)
    target_compile_definitions(${target} PRIVATE
        STORAGE_KEY_FILE="${key_file}" CASES_FILE="${here}/cases.txt" READ_RECORD="${read_record}")
    foreach(call IN ITEMS open open64 lseek read write close unlink link rename symlink readlink mknod __xmknod unlinkat
            lstat lstat64 __lxstat __lxstat64 __lstat64_time64 statfs statfs64 fsync malloc calloc realloc free ${read_record} SHA256
            EVP_CIPHER_CTX_new EVP_CIPHER_CTX_free EVP_EncryptInit_ex EVP_EncryptUpdate EVP_EncryptFinal_ex
            EVP_DecryptInit_ex EVP_DecryptUpdate EVP_DecryptFinal_ex)
        target_link_options(${target} PRIVATE "-Wl,--wrap=${call}")
    endforeach()
endfunction()
