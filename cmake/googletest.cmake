# Provides GTest::gtest and GTest::gtest_main. A host build takes the installed
# library. A distribution has that for its own architecture only, but also its
# sources, so a cross build compiles them along.
if(CMAKE_CROSSCOMPILING)
    set(VORN_GOOGLETEST_SOURCES /usr/src/googletest/googletest CACHE PATH "GoogleTest's sources, for cross builds")
    add_subdirectory("${VORN_GOOGLETEST_SOURCES}" "${PROJECT_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL)
else()
    find_package(GTest)
endif()
