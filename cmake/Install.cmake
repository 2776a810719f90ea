# The parts of an installation, in three components: runtime, development and host. All of it may be moved.
include(CMakePackageConfigHelpers)

set(VEL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/VelOperation)

install(TARGETS VelOperation EXPORT VelOperation
    RUNTIME COMPONENT runtime
    LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
    ARCHIVE COMPONENT development
    FILE_SET HEADERS COMPONENT development)

if(WIN32) # for compilers that want to make an import library of their own
    install(FILES library/VelOperation.def DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
endif()

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

# Pages and examples are installed as they lie in the sources, so links between them work. On Windows, where a prefix
# belongs to one product, they go into the prefix itself.
function(vel_install_pages package component)
    set(folder ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package})
    if(WIN32)
        set(folder .)
    endif()
    list(TRANSFORM ARGN PREPEND ${PROJECT_SOURCE_DIR}/docs/ OUTPUT_VARIABLE pages)
    install(FILES ${pages} DESTINATION ${folder}/docs COMPONENT ${component})
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/pictures DESTINATION ${folder}/docs COMPONENT ${component}
        PATTERN drawn.sha256 EXCLUDE)
    install(FILES ${PROJECT_SOURCE_DIR}/examples/division.cpp DESTINATION ${folder}/examples COMPONENT ${component})
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/hosting DESTINATION ${folder}/examples COMPONENT ${component})
endfunction()
vel_install_pages(libveloperation-dev development hosting.md operations.md platforms.md)
