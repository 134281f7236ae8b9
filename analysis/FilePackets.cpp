#include "analysis/FilePackets.h"

#include "util/Util.h"

#include <QString>

#include <numeric>
#include <stdexcept>

namespace pdalink {

namespace {

constexpr std::size_t kPacketCharacters = 3000;

/// How many characters, as a message's length field counts them, begin with a byte of UTF-8 text.
std::size_t charactersBegunBy(char byte) {
    const auto bits = static_cast<unsigned char>(byte);
    if ((bits & 0xC0U) == 0x80U) {
        return 0; // goes on with the character before it
    }
    return bits >= 0xF0U ? 2 : 1;
}

} // namespace

QByteArray FilePacket::checkText() const {
    const std::size_t length = characters / 2;
    std::vector<unsigned char> data(length);
    CUtil::str_to_hex(text, data.data(), static_cast<int>(2 * length));
    return QString::asprintf("%04x", static_cast<unsigned int>(CUtil::CRC16(length, data.data()))).toLatin1();
}

FileText::FileText(const char* text) : m_text(text) {
    std::size_t inPacket = 0;
    for (; text[m_bytes] != '\0'; ++m_bytes) {
        const std::size_t width = charactersBegunBy(text[m_bytes]);
        // A character is never cut in two, nor are continuation bytes at the very beginning lost.
        if (m_bytes == 0 || inPacket + width > kPacketCharacters) {
            if (m_starts.size() == kMaxPackets) {
                throw std::length_error("file packets");
            }
            m_starts.push_back(m_bytes);
            inPacket = 0;
        }
        inPacket += width;
        m_characters += width;
    }
}

FilePacket FileText::packet(int index) const {
    const auto number = static_cast<std::size_t>(index);
    const bool isLast = number + 1 == m_starts.size();
    const std::size_t begin = m_starts[number];
    const std::size_t end = isLast ? m_bytes : m_starts[number + 1];
    const auto count = [](std::size_t sum, char byte) { return sum + charactersBegunBy(byte); };
    return {m_text + begin, end - begin,
            std::accumulate(m_text + begin, m_text + end, std::size_t{0}, count)};
}

void PacketTable::store(int number, const QByteArray& text) {
    std::string& packet = m_packets[number];
    m_size -= packet.size();
    packet.assign(text.constData(), static_cast<std::size_t>(text.size()));
    m_size += packet.size();
}

void PacketTable::copyTo(const Output& output) const {
    std::size_t offset = 0;
    for (const auto& [number, text] : m_packets) {
        output.copyAt(offset, text);
        offset += text.size();
    }
}

} // namespace pdalink
