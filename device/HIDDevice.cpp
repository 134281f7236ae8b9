#include "device/HIDDevice.h"

#include "device/Channel.h"
#include "device/ReceiveBuffer.h"
#include "device/Receiver.h"
#include "util/DebugOutput.h"
#include "util/Guard.h"

#include <algorithm>
#include <cstdio>

// The public API: nothing that fails inside leaves it as an exception.

using namespace pdalink;

void* run_proc(void* /*ignored*/) {
    return guarded(
        []() -> void* {
            Receiver receiver(g_strSerialPort.toUtf8());
            if (receiver.claim()) {
                receiver.run();
            }
            return nullptr;
        },
        []() -> void* { return nullptr; });
}

CHIDDevice::CHIDDevice() {
    g_fd = -1;
}

CHIDDevice::~CHIDDevice() {
    debugOutput("~CHIDDevice");
    channel::close();
}

bool CHIDDevice::openHidDevice() {
    return guarded(
        [] {
            channel::open();
            return true;
        },
        [] { return true; });
}

QString CHIDDevice::getBuffer() {
    return guarded([] { return channel::receive(); }, [] { return QString(); });
}

void CHIDDevice::clearBuffer() {
    emptyBuffer();
}

bool CHIDDevice::SendData(const QString& text) {
    return guarded([&] { return channel::sendText(text.toUtf8()); }, [] { return false; });
}

bool CHIDDevice::SendData(char* buf, int len) {
    return guarded([&] { return channel::sendBytes(buf, std::max(len, 0)); }, [] { return false; });
}

bool CHIDDevice::SendData_test(unsigned char* buf, int len) {
    const int length = std::max(len, 0);
    const ssize_t written =
        guarded([&] { return channel::sendForTest(reinterpret_cast<const char*>(buf), length); },
                []() -> ssize_t { return -1; });
    std::printf("%zd\n", written);
    return written == length;
}
