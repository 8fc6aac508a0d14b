# Cross-compiling for 64-bit Windows with Debian's mingw-w64, against what tools/windows/build has made of Qt, FFmpeg and
# FAAC. The compilers with POSIX threads are named outright: the others have no std::thread.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

set(VANTOR_WINDOWS_CACHE $ENV{VANTOR_WINDOWS_CACHE})
if(NOT VANTOR_WINDOWS_CACHE)
    set(VANTOR_WINDOWS_CACHE $ENV{HOME}/.cache/vantor/windows)
endif()
set(ENV{PKG_CONFIG_LIBDIR} ${VANTOR_WINDOWS_CACHE}/root/lib/pkgconfig)

# Headers and libraries are those of the target; programs are this machine's.
set(CMAKE_FIND_ROOT_PATH ${VANTOR_WINDOWS_CACHE}/root /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
