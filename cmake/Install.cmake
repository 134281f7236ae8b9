# The C++ headers that hosts see. They keep their folders: they name each other by relative paths.
set(PDALINK_HEADERS
    analysis/PDAXMLAnalysis.h analysis/ResultStores.h
    device/HIDDevice.h device/UsbDiscovery.h
    util/Export.h util/FileLog.h util/LockConfig.h util/Util.h util/cgetconfigval.h util/mutexlock.h)

install(TARGETS pdalink EXPORT pdalinkTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES interface/pdalink.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# The same tree in the build directory, for the tools, which know nothing but what is installed.
set(PDALINK_HEADER_TREE ${PROJECT_BINARY_DIR}/include)
foreach(header IN LISTS PDALINK_HEADERS)
    cmake_path(GET header PARENT_PATH folder)
    install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/pdalink/${folder})
    file(MAKE_DIRECTORY ${PDALINK_HEADER_TREE}/pdalink/${folder})
    file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${header} ${PDALINK_HEADER_TREE}/pdalink/${header} SYMBOLIC)
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
install(FILES packaging/PDAConfigure.ini DESTINATION ${CMAKE_INSTALL_DATADIR}/pdalink)
