set(PDALINK_LIBRARY_FOLDER ${CMAKE_INSTALL_LIBDIR} CACHE STRING
    "Where the library itself is installed: a folder of its own, where its configuration and log are to lie beside it")
install(TARGETS pdalink EXPORT pdalinkTargets LIBRARY DESTINATION ${PDALINK_LIBRARY_FOLDER})
install(FILES interface/pdalink.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
foreach(header IN LISTS PDALINK_HEADERS)
    cmake_path(GET header PARENT_PATH folder)
    install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/pdalink/${folder})
endforeach()

include(CMakePackageConfigHelpers)
# Relative to the file itself, so that a tree that is installed elsewhere is found there.
file(RELATIVE_PATH PDALINK_PREFIX_FROM_PKGCONFIG
    ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/pdalink.pc.in ${PROJECT_BINARY_DIR}/pdalink.pc @ONLY)
configure_package_config_file(cmake/pdalinkConfig.cmake.in ${PROJECT_BINARY_DIR}/pdalinkConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/pdalink)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/pdalinkConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/pdalink.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
install(FILES ${PROJECT_BINARY_DIR}/pdalinkConfig.cmake ${PROJECT_BINARY_DIR}/pdalinkConfigVersion.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/pdalink)
install(EXPORT pdalinkTargets NAMESPACE pdalink:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/pdalink)
install(FILES packaging/PDAConfigure.ini packaging/70-pdalink.rules packaging/pdalink-host.service
    DESTINATION ${CMAKE_INSTALL_DATADIR}/pdalink)
# Where links between them lead to the right place.
install(FILES CHANGELOG.md README.md SECURITY.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR}
    FILES_MATCHING PATTERN "*.md" PATTERN man EXCLUDE PATTERN architecture.md EXCLUDE)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} PATTERN CMakeLists.txt EXCLUDE)
install(DIRECTORY bindings DESTINATION ${CMAKE_INSTALL_DATADIR}/pdalink COMPONENT bindings
    PATTERN __pycache__ EXCLUDE)
