# Cross-building the Windows program on another system with MinGW-w64 (its POSIX thread variant).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_ASM_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
# Programs of the building system, libraries of the target.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
