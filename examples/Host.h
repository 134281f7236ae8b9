#pragma once

// What the examples in C++ share. Take it along with the example that you copy.

#include <pdalink.h>
#include <pdalink/analysis/PDAXMLAnalysis.h>
#include <pdalink/analysis/ResultStores.h>
#include <pdalink/device/HIDDevice.h>

#include <QJsonDocument>
#include <QJsonObject>

#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace example {

inline const QString kNumber = "00000001"; ///< the terminal's

inline void show(const std::string& what, const QString& value) {
    std::cout << what << ": " << value.toStdString() << std::endl;
}

inline void require(bool condition, const std::string& what) {
    if (!condition) {
        throw std::runtime_error(what);
    }
}

/// Makes a request; the terminal has to accept it.
inline QJsonObject ask(const QJsonObject& request) {
    static std::vector<char> response(128UL * 1024); // the largest there is
    const QByteArray json = QJsonDocument(request).toJson(QJsonDocument::Compact);
    int length = 0;
    PDA_CommonCall(json.constData(), json.size(), response.data(), &length);
    const QByteArray found(response.data(), length);
    QJsonObject members = QJsonDocument::fromJson(found).object();
    // Four codes have no result code.
    require(!members.isEmpty() && members.value("pRetCode").toString("000000") == "000000",
            (request.value("transCode").toString() + " was answered with '" + found + "'").toStdString());
    return members;
}

/// A text that a member of the library reads or writes: zeros behind it, as outputs need them.
class Text {
public:
    explicit Text(const QString& value = "") {
        const QByteArray bytes = value.toUtf8();
        m_bytes.assign(bytes.begin(), bytes.end());
        m_bytes.resize(m_bytes.size() + 16UL * 1024);
    }
    operator char*() { return m_bytes.data(); } // NOLINT(google-explicit-constructor): what the members take
    QString value() const { return m_bytes.data(); }

private:
    std::vector<char> m_bytes;
};

/// What the terminal sends on its own, cut into messages by their first six digits, the length.
class Inbox {
public:
    /// The next message that came. Empty when there is none, and while one is half received: a message's
    /// handler empties the library's receive buffer.
    QString next() {
        if (g_isBufferCome) {
            m_received += g_HIDDevice.getBuffer();
        }
        int first = 0;
        for (int end = 0; end < m_received.size();) {
            const int length = m_received.mid(end, 6).toInt();
            end += length;
            if (length <= 0 || end > m_received.size()) {
                return {};
            }
            first = first > 0 ? first : length;
        }
        QString message = m_received.left(first);
        m_received.remove(0, first);
        return message;
    }

    /// Waits for a message of this type, up to some 15 s, and gives it to its handler, which acknowledges it.
    void await(const QString& type, int (CPDAXMLAnalysis::*handler)(char*)) {
        QString message = next();
        for (int wait = 0; wait < 3 && message.isEmpty(); ++wait) {
            m_received += g_HIDDevice.getBuffer(); // up to 4.9 s
            message = next();
        }
        require(message.mid(6, 4) == type, "the terminal did not send its message " + type.toStdString());
        CPDAXMLAnalysis library;
        require((library.*handler)(Text(message)) == 0, "the message could not be acknowledged");
    }

private:
    QString m_received;
};

/// Runs an example; returns the exit code of the program.
inline int run(void (*body)()) {
    try {
        body();
        return 0;
    } catch (const std::exception& failure) {
        std::cerr << "failed: " << failure.what() << std::endl;
        return 1;
    }
}

} // namespace example
