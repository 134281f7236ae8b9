#include "analysis/FilePackets.h"

#include "util/Util.h"

#include <QString>

#include <algorithm>
#include <stdexcept>

namespace {

constexpr std::size_t kPacketCharacters = 3000;

/// Whether a byte of UTF-8 text goes on with the character before it.
bool continuesCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

} // namespace

QByteArray FilePacket::checkText() const {
    const std::size_t length = characters / 2;
    std::vector<unsigned char> data(length);
    CUtil::str_to_hex(text, data.data(), static_cast<int>(2 * length));
    return QString::asprintf("%04x", static_cast<unsigned int>(CUtil::CRC16(length, data.data()))).toLatin1();
}

FileText::FileText(const char* text) : m_text(text) {
    for (; text[m_bytes] != '\0'; ++m_bytes) {
        if (m_bytes > 0 && continuesCharacter(text[m_bytes])) {
            continue;
        }
        if (m_characters % kPacketCharacters == 0) {
            if (m_starts.size() == kMostPackets) {
                throw std::length_error("file packets");
            }
            m_starts.push_back(m_bytes);
        }
        ++m_characters;
    }
}

FilePacket FileText::packet(int index) const {
    const auto number = static_cast<std::size_t>(index);
    const bool isLast = number + 1 == m_starts.size();
    const std::size_t end = isLast ? m_bytes : m_starts[number + 1];
    return {m_text + m_starts[number], end - m_starts[number],
            std::min(kPacketCharacters, m_characters - number * kPacketCharacters)};
}

void PacketTable::store(int number, const QByteArray& text) {
    std::string& packet = m_packets[number];
    m_size -= packet.size();
    packet.assign(text.constData(), static_cast<std::size_t>(text.size()));
    m_size += packet.size();
}

void PacketTable::copyTo(const TextOut& output) const {
    std::size_t offset = 0;
    for (const auto& [number, text] : m_packets) {
        output.copyAt(offset, text);
        offset += text.size();
    }
}
