# Debian's mingw-w64 for 64-bit Windows, and wine, which runs what it builds.
set(VEL_TRIPLET x86_64-w64-mingw32)
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER ${VEL_TRIPLET}-gcc-posix)
set(CMAKE_CXX_COMPILER ${VEL_TRIPLET}-g++-posix)
set(CMAKE_RC_COMPILER ${VEL_TRIPLET}-windres)
set(CMAKE_CROSSCOMPILING_EMULATOR wine)
set(CMAKE_EXE_LINKER_FLAGS_INIT -static) # test programs find the run-time libraries of the compiler in themselves
set(VEL_PLATFORM_DIR ${CMAKE_CURRENT_LIST_DIR}/../../build/platforms/${VEL_TRIPLET}) # see scripts/build-libffi
set(CMAKE_FIND_ROOT_PATH /usr/${VEL_TRIPLET} ${VEL_PLATFORM_DIR})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} ${VEL_PLATFORM_DIR}/lib/pkgconfig)
