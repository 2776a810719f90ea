# Makes dpkg-shlibdeps look for libraries of the packages' processor.
set(ENV{DEB_HOST_ARCH} ${CPACK_DEBIAN_PACKAGE_ARCHITECTURE})
