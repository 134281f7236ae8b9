#pragma once

#include "analysis/Values.h"

#include <QByteArray>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace pdalink {

constexpr int kMaxPackets = 200000;
constexpr std::size_t kMaxCharacters = 600'000'000;

/// One packet of a file: hexadecimal digits, in the text that they are part of.
struct FilePacket {
    const char* text;
    std::size_t bytes;
    std::size_t characters;

    /// The CRC over a byte for each pair of characters, as four digits. Bytes that are not there, because
    /// the text has other characters than digits, count as 0.
    QByteArray checkText() const;
};

/// The text of a file to be sent, cut into packets. The text is not copied and must outlive this.
class FileText {
public:
    /// Throws std::length_error for more packets than a transfer can have.
    explicit FileText(const char* text);

    std::size_t characters() const { return m_characters; }
    int packets() const { return static_cast<int>(m_starts.size()); }
    FilePacket packet(int index) const;

private:
    const char* m_text;
    std::size_t m_bytes = 0;
    std::size_t m_characters = 0;
    std::vector<std::size_t> m_starts; // of the packets, in bytes
};

/// The packets of a file that is being fetched, by their numbers.
class PacketTable {
public:
    bool has(int number) const { return m_packets.count(number) != 0; }
    void store(int number, const QByteArray& text);

    /// Of all packets together.
    std::size_t size() const { return m_size; }

    /// Copies the packets, joined in the order of their numbers.
    void copyTo(const Output& output) const;

private:
    std::map<int, std::string> m_packets;
    std::size_t m_size = 0;
};

} // namespace pdalink
