#pragma once

#include "ChannelFixture.h"

#include <cstring>
#include <ostream>
#include <string>

/// One of the three senders, and the lines in which it differs from the others.
struct SenderKind {
    const char* name;
    bool (*send)(const std::string& bytes);
    std::string notOpen;
    std::string failed;
    std::string incomplete;
    std::string written;
    bool opensTheChannel;
    bool namesTheCause;
    bool namesTheLength;

    std::string writtenLine(const std::string& text) const {
        return written + text + (namesTheLength ? " sendLen:" + std::to_string(text.size()) : "");
    }
    std::string failedLine(int error) const {
        return failed +
               (namesTheCause ? " errno:" + std::to_string(error) + " info:" + std::strerror(error) : "");
    }
    std::string incompleteLine(const std::string& text, int sent) const {
        return incomplete + text + "  sendLen:" + std::to_string(sent) +
               " bufferLen:" + std::to_string(text.size());
    }
};

inline std::ostream& operator<<(std::ostream& stream, const SenderKind& kind) {
    return stream << kind.name;
}

inline bool sendAsText(const std::string& bytes) {
    return g_HIDDevice.SendData(QString::fromStdString(bytes));
}

inline bool sendAsBytes(const std::string& bytes) {
    std::string copy = bytes;
    return g_HIDDevice.SendData(copy.data(), static_cast<int>(copy.size()));
}

inline bool sendAsTest(const std::string& bytes) {
    std::string copy = bytes;
    return g_HIDDevice.SendData_test(reinterpret_cast<unsigned char*>(copy.data()),
                                     static_cast<int>(copy.size()));
}

inline const SenderKind kSenders[] = {
    {"Text", sendAsText, "hid device is not open", "sendLen error. need to reopen device",
     "Write XML error:", "Write XML: ", false, true, true},
    {"Bytes", sendAsBytes, "hid device is not open1", "sendLen error. need to reopen device1",
     "Write XML1 error:", "Write XML1: ", true, true, true},
    {"Test", sendAsTest, "hid device is not open", "sendLen error. need to reopen device",
     "Write XML error:", "Write XML: ", true, false, false},
};
