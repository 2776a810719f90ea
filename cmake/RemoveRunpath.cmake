# Packages install where the loader looks anyway.
file(RPATH_REMOVE FILE ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/host${CPACK_PACKAGING_INSTALL_PREFIX}/bin/velreplay)
