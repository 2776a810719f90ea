# Packages install into folders that the loader searches anyway.
file(RPATH_REMOVE FILE ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/host${CPACK_PACKAGING_INSTALL_PREFIX}/bin/velreplay)
