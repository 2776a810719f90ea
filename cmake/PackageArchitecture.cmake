# dpkg-shlibdeps looks for the libraries of the processor that packages are made for.
set(ENV{DEB_HOST_ARCH} ${CPACK_DEBIAN_PACKAGE_ARCHITECTURE})
