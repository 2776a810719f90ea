# Packages. For Linux those of Debian, one for each component of an installation; for Windows one zip.
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
if(WIN32)
    set(CPACK_GENERATOR ZIP)
    set(CPACK_COMPONENTS_ALL runtime development)
    set(CPACK_PACKAGE_FILE_NAME VelOperation-${PROJECT_VERSION}-windows-x64)
    include(CPack)
    return()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_CONTACT "VelOperation developers <veloperation@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/RemoveRunpath.cmake)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime development host)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
execute_process(COMMAND dpkg-architecture -t${CMAKE_LIBRARY_ARCHITECTURE} -qDEB_HOST_ARCH
    OUTPUT_VARIABLE CPACK_DEBIAN_PACKAGE_ARCHITECTURE OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/cmake/PackageArchitecture.cmake)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY >=)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libveloperation${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "libc6 (>= 2.36)") # for packed relative relocations, which have no symbol
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/triggers)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "signal operations for measurement and data logging
VelOperation turns the current samples of a host's typed channels into the
samples of computed channels, once per sample period: arithmetic, logic over
time, limits, curves, integrals, statistics over windows and Butterworth
filters, with respect for channels that have no valid sample now.
.
This package contains the shared library.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libveloperation-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME} (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "signal operations for measurement and data logging - development files
VelOperation turns the current samples of a host's typed channels into the
samples of computed channels, once per sample period.
.
This package contains what a host in C or C++ is built with: the headers, the
files for CMake and pkg-config, and the reference of all operations.")

set(CPACK_DEBIAN_HOST_PACKAGE_NAME velreplay)
set(CPACK_DEBIAN_HOST_PACKAGE_SECTION science)
set(CPACK_DEBIAN_HOST_PACKAGE_DEPENDS
    "${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME} (>= ${PROJECT_VERSION}), tzdata")
set(CPACK_DEBIAN_HOST_PACKAGE_RECOMMENDS gnuplot-nox)
set(CPACK_COMPONENT_HOST_DESCRIPTION "replays measurement recordings through computed channels
velreplay reads a recording (CSV), computes channels from its channels as a
plan (TOML) says, and writes the result (CSV) and a picture of it. It runs all
operations of the VelOperation library, on files and on live streams.")

include(CPack)
