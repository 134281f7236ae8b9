# The library, and a static library of the same objects for the unit tests of its internals. A test program links
# one of the two, never both: the state is process-wide.
add_library(pdalink_objects OBJECT
    analysis/Dispatcher.cpp
    analysis/Exchange.cpp
    analysis/FilePackets.cpp
    analysis/FileTransfer.cpp
    analysis/Lists.cpp
    analysis/LockCommands.cpp
    analysis/MembersWithoutExchange.cpp
    analysis/MessageEnvelope.cpp
    analysis/PDAXMLAnalysis.cpp
    analysis/ReceivedMessages.cpp
    analysis/Response.cpp
    analysis/ResultStores.cpp
    analysis/Values.cpp
    device/Channel.cpp
    device/HIDDevice.cpp
    device/ReceiveBuffer.cpp
    device/Receiver.cpp
    device/Senders.cpp
    device/ThreadStack.cpp
    device/UsbDiscovery.cpp
    interface/Interface.cpp
    interface/ProcessState.cpp
    util/Descriptor.cpp
    util/ErrorText.cpp
    util/DebugOutput.cpp
    util/FileLog.cpp
    util/ForkSection.cpp
    util/HexCodec.cpp
    util/LockConfig.cpp
    util/MessageLength.cpp
    util/Util.cpp
    util/cgetconfigval.cpp
    util/mutexlock.cpp
)
# Compiled file by file also in a unity build, so that what is tested is what is delivered; joined for a check alone.
set_target_properties(pdalink_objects PROPERTIES UNITY_BUILD "${PDALINK_UNITY_LIBRARY}")
target_include_directories(pdalink_objects PUBLIC ${PROJECT_SOURCE_DIR})
# Otherwise only a Qt as new as the one of the build would do.
target_compile_definitions(pdalink_objects PRIVATE QT_NO_VERSION_TAGGING)
target_link_libraries(pdalink_objects PUBLIC Qt5::Core PRIVATE PkgConfig::udev Threads::Threads)
target_include_directories(pdalink_objects SYSTEM PRIVATE ${RAPIDJSON_INCLUDE_DIRS})

# The library reads its ini from its own directory: with the sample there, a host can be tried from the build.
configure_file(${PROJECT_SOURCE_DIR}/packaging/PDAConfigure.ini
    ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/PDAConfigure.ini COPYONLY)

set(PDALINK_EXPORTS ${PROJECT_SOURCE_DIR}/interface/exports.map)
add_library(pdalink SHARED)
add_library(pdalink::pdalink ALIAS pdalink)
target_link_libraries(pdalink PRIVATE pdalink_objects Threads::Threads ${CMAKE_DL_LIBS} INTERFACE Qt5::Core)
target_compile_features(pdalink INTERFACE cxx_std_11)
target_include_directories(pdalink INTERFACE
    $<BUILD_INTERFACE:${PDALINK_HEADER_TREE}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
# -Bsymbolic-functions: a host's own function of the same name must not catch the library's calls. Not -Bsymbolic:
# hosts may use copy relocations for the data.
target_link_options(pdalink PRIVATE
    -Wl,--version-script=${PDALINK_EXPORTS} -Wl,-Bsymbolic-functions -Wl,--no-undefined-version)
set_target_properties(pdalink PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} LINK_DEPENDS ${PDALINK_EXPORTS})
if(NOT PDALINK_SANITIZE)
    target_link_options(pdalink PRIVATE -Wl,-z,defs)
endif()

add_library(pdalink_internals STATIC EXCLUDE_FROM_ALL)
target_link_libraries(pdalink_internals PUBLIC pdalink_objects PkgConfig::udev Threads::Threads ${CMAKE_DL_LIBS})
