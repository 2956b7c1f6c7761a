# What can be chosen. A larger project that takes libvorn in gets the library and
# nothing else, unless it asks.

# A plain variable of such a project counts too; before 3.21, set(CACHE) drops it.
macro(vorn_setting name default type help)
    if(NOT DEFINED ${name} OR DEFINED CACHE{${name}})
        set(${name} "${default}" CACHE ${type} "${help}")
    endif()
endmacro()

vorn_setting(VORN_PLATFORM host STRING "host: with stand-ins for the platform's libraries; device: with the sysroot's")
vorn_setting(VORN_STORAGE_KEY_FILE "" FILEPATH "File whose raw bytes, 32 or more, are the storage key")
option(VORN_TOOLS "Build the tool and the examples" ${VORN_TOP_LEVEL})
option(VORN_TESTS "Build the tests, if BUILD_TESTING is on too" ${VORN_TOP_LEVEL})
option(VORN_INSTALL "Have rules for installation, uninstallation and packages" ${VORN_TOP_LEVEL})
option(VORN_WERROR "Treat warnings as errors" OFF)
option(VORN_BENCH "Build the benchmark, which needs Google Benchmark" OFF)
option(VORN_FUZZ "Build the fuzzer, which takes clang++" OFF)

if(NOT VORN_PLATFORM MATCHES "^(host|device)$")
    message(FATAL_ERROR "VORN_PLATFORM is host or device, not ${VORN_PLATFORM}")
endif()
if(DEFINED BUILD_SHARED_LIBS AND NOT BUILD_SHARED_LIBS)
    message(FATAL_ERROR
        "BUILD_SHARED_LIBS is off, but libvorn is a shared library and nothing else: only there are its inner "
        "functions and its key hidden from the program. A larger project sets BUILD_SHARED_LIBS to ON around it.")
endif()
