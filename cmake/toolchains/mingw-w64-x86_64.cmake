# Cross build for 64-bit Windows with Debian's MinGW-w64 (package
# g++-mingw-w64-x86-64).  The C and C++ runtimes are linked statically, so the
# DLLs depend only on Windows system DLLs (and Zefra_TDR_Helpers.dll on
# interp_Sparam.dll).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(ZEFRA_MINGW_PREFIX x86_64-w64-mingw32)
# The POSIX thread model: GCC 12's win32 model has no std::thread, which the
# toolkit uses (winpthreads is linked statically, as libstdc++ is).
find_program(ZEFRA_MINGW_GCC NAMES ${ZEFRA_MINGW_PREFIX}-gcc-posix ${ZEFRA_MINGW_PREFIX}-gcc)
find_program(ZEFRA_MINGW_GXX NAMES ${ZEFRA_MINGW_PREFIX}-g++-posix ${ZEFRA_MINGW_PREFIX}-g++)
set(CMAKE_C_COMPILER ${ZEFRA_MINGW_GCC})
set(CMAKE_CXX_COMPILER ${ZEFRA_MINGW_GXX})
set(CMAKE_RC_COMPILER ${ZEFRA_MINGW_PREFIX}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${ZEFRA_MINGW_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static-libgcc -static-libstdc++ -static")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static-libgcc -static-libstdc++ -static")

# Programs built here run under Wine.
find_program(ZEFRA_WINE64 NAMES wine64 PATHS /usr/lib/wine NO_CMAKE_FIND_ROOT_PATH)
if(ZEFRA_WINE64)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${ZEFRA_WINE64})
endif()
