# Debian's mingw-w64 for 64-bit Windows, and wine, which runs what it builds.
set(VEL_TRIPLET x86_64-w64-mingw32)
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER ${VEL_TRIPLET}-gcc-posix)
set(CMAKE_CXX_COMPILER ${VEL_TRIPLET}-g++-posix)
set(CMAKE_RC_COMPILER ${VEL_TRIPLET}-windres)
set(CMAKE_CROSSCOMPILING_EMULATOR wine)
set(CMAKE_EXE_LINKER_FLAGS_INIT -static) # test programs find the run-time libraries of the compiler in themselves
set(VEL_SYSTEM_ROOT /usr/${VEL_TRIPLET})
include(${CMAKE_CURRENT_LIST_DIR}/find.cmake)
