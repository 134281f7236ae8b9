#pragma once

#include <pdalink/device/HIDDevice.h>

#include <QString>

#include <stdexcept>
#include <string>

namespace example {

/// Takes what the terminal sends on its own from the channel and cuts it into messages.
class Inbox {
public:
    /// The next message, whole, once no other one is half received: its handler empties the receive buffer.
    /// Throws when none comes in ten seconds or so.
    std::string take() {
        for (int wait = 0; wait < 3; ++wait) {
            if (const int length = nextLength(); length > 0) {
                std::string message = m_received.left(length).toStdString();
                m_received.remove(0, length);
                return message;
            }
            m_received += g_HIDDevice.getBuffer(); // up to 4.9 s
        }
        throw std::runtime_error("the terminal sent nothing");
    }

private:
    /// The length of the first message, in characters; 0 while it is not there as a whole.
    int nextLength() const {
        constexpr int lengthDigits = 6;
        const int length = m_received.left(lengthDigits).toInt();
        return length > 0 && length <= m_received.size() ? length : 0;
    }

    QString m_received;
};

} // namespace example
