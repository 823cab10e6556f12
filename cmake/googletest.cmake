# GoogleTest from the distribution's sources, for a system that it has no compiled package for.
add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
target_compile_options(gtest PRIVATE -w)
target_compile_options(gtest_main PRIVATE -w)
