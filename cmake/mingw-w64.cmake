# Windows x64 from Linux: mingw-w64 with the POSIX thread model (std::thread, std::mutex), run under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Debian keeps wine64 out of the path where only the 64-bit package is there.
find_program(WINE_LAUNCHER NAMES wine wine64 wine64-stable wine-stable PATHS /usr/lib/wine)
set(CMAKE_CROSSCOMPILING_EMULATOR ${WINE_LAUNCHER})
