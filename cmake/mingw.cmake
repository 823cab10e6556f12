# Cross-compiles for Windows; ${TSASYNC_MINGW_CPU} comes from the file that includes this one. The compiler's flavour
# with POSIX threads, because its C++ library has threads and thread-wide objects with destructors. The runtime is
# linked statically, so that a program imports nothing but the system's own DLLs.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR ${TSASYNC_MINGW_CPU})
set(CMAKE_C_COMPILER ${TSASYNC_MINGW_CPU}-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER ${TSASYNC_MINGW_CPU}-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER ${TSASYNC_MINGW_CPU}-w64-mingw32-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${TSASYNC_MINGW_CPU}-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
set(CMAKE_SHARED_LINKER_FLAGS_INIT -static)
