# What an installation consists of, in three components: runtime, development and host. All of it may be moved.
include(CMakePackageConfigHelpers)

set(VEL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/VelOperation)
set(VEL_DEVELOPMENT_DOC_DIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/libveloperation-dev)

install(TARGETS VelOperation EXPORT VelOperation
    LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
    FILE_SET HEADERS COMPONENT development)

# The exported target is the whole package: it depends on nothing.
install(EXPORT VelOperation FILE VelOperationConfig.cmake NAMESPACE VelOperation::
    DESTINATION ${VEL_CMAKE_DIR} COMPONENT development)
write_basic_package_version_file(VelOperationConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/VelOperationConfigVersion.cmake
    DESTINATION ${VEL_CMAKE_DIR} COMPONENT development)

file(RELATIVE_PATH VEL_INCLUDE_FROM_PC
    ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_FULL_INCLUDEDIR})
configure_file(cmake/veloperation.pc.in veloperation.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/veloperation.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

install(DIRECTORY docs/ DESTINATION ${VEL_DEVELOPMENT_DOC_DIR} COMPONENT development
    FILES_MATCHING PATTERN *.md PATTERN architecture.md EXCLUDE PATTERN velreplay.md EXCLUDE)
install(FILES examples/division.cpp DESTINATION ${VEL_DEVELOPMENT_DOC_DIR}/examples COMPONENT development)
