# The C++ headers that hosts see. They keep their folders: they name each other by relative paths.
set(PDALINK_HEADERS
    analysis/PDAXMLAnalysis.h analysis/ResultStores.h
    device/HIDDevice.h device/UsbDiscovery.h
    util/Export.h util/FileLog.h util/LockConfig.h util/Util.h util/cgetconfigval.h util/mutexlock.h)

# The same tree in the build directory: whoever uses the target there sees what is installed, and nothing else.
set(PDALINK_HEADER_TREE ${PROJECT_BINARY_DIR}/include)
file(MAKE_DIRECTORY ${PDALINK_HEADER_TREE})
file(CREATE_LINK ${PROJECT_SOURCE_DIR}/interface/pdalink.h ${PDALINK_HEADER_TREE}/pdalink.h SYMBOLIC)
foreach(header IN LISTS PDALINK_HEADERS)
    cmake_path(GET header PARENT_PATH folder)
    file(MAKE_DIRECTORY ${PDALINK_HEADER_TREE}/pdalink/${folder})
    file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${header} ${PDALINK_HEADER_TREE}/pdalink/${header} SYMBOLIC)
endforeach()
