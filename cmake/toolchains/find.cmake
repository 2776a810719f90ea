# Programs come from this machine; headers, libraries and packages from the platform's root, and from what
# scripts/build-libffi has built.
set(VEL_PLATFORM_DIR ${CMAKE_CURRENT_LIST_DIR}/../../build/platforms/${VEL_TRIPLET})
set(CMAKE_FIND_ROOT_PATH ${VEL_SYSTEM_ROOT} ${VEL_PLATFORM_DIR})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/${VEL_TRIPLET}/pkgconfig:${VEL_PLATFORM_DIR}/lib/pkgconfig:/usr/share/pkgconfig)
