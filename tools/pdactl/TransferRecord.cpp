#include "TransferRecord.h"

#include <pdalink/util/Util.h>

#include <algorithm>
#include <numeric>
#include <utility>

namespace pdactl {

namespace {

constexpr std::string_view StampShape = "dddd-dd-dd dd:dd:ddddd ";
constexpr std::string_view Received = "INFO     : HID Read XML: ";
constexpr std::size_t TypeOffset = 6;
constexpr const char* Agreed = "000000";

bool beginsWithStamp(std::string_view line) {
    return line.size() >= StampShape.size() &&
           std::equal(StampShape.begin(), StampShape.end(), line.begin(), [](char shape, char character) {
               return shape == 'd' ? character >= '0' && character <= '9' : shape == character;
           });
}

QString field(std::string& text, std::string tag) {
    QString value;
    (void)CUtil::GetXMLValue(value, text.data(), static_cast<int>(text.size()), tag.data());
    return value;
}

} // namespace

TransferRecord::TransferRecord(std::string type) : m_type(std::move(type)) {
}

void TransferRecord::add(std::string_view logged) {
    m_line += logged;
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = m_line.find('\n', begin)) != std::string::npos; begin = end + 1) {
        takeLine(std::string_view(m_line).substr(begin, end - begin));
    }
    m_line.erase(0, begin);
}

void TransferRecord::finish() {
    takeEntry();
    m_entry.clear();
}

/** A line without a stamp belongs to the entry before it, whose text has a line end. */
void TransferRecord::takeLine(std::string_view line) {
    if (beginsWithStamp(line)) {
        takeEntry();
        m_entry = line.substr(StampShape.size());
    } else {
        (m_entry += '\n') += line;
    }
}

void TransferRecord::takeEntry() {
    if (m_entry.rfind(Received, 0) == 0) {
        takeReply(std::string_view(m_entry).substr(Received.size()));
    }
}

void TransferRecord::takeReply(std::string_view reply) {
    if (reply.size() < TypeOffset + m_type.size() || reply.substr(TypeOffset, m_type.size()) != m_type) {
        return;
    }
    std::string text(reply);
    const QString verdict = field(text, "Ex_RetCode");
    if (verdict != QLatin1String(Agreed)) {
        m_firstRefusal = m_refused == 0 ? verdict.toStdString() : m_firstRefusal;
        ++m_refused;
        return;
    }
    ++m_agreed;
    bool isNumber = false;
    const int number = field(text, "Ex_CurPkt").toInt(&isNumber);
    if (isNumber) {
        m_total = field(text, "Ex_TotalPkt").toInt();
        m_digits[number] = static_cast<std::size_t>(field(text, "Ex_HexVal").size());
    }
}

bool TransferRecord::hasWhole(std::size_t digits) const {
    const bool hasAll = m_total > 0 && m_digits.size() == static_cast<std::size_t>(m_total) &&
                        m_digits.begin()->first == 0 && m_digits.rbegin()->first == m_total - 1;
    return hasAll &&
           digits == std::accumulate(m_digits.begin(), m_digits.end(), std::size_t{0},
                                     [](std::size_t sum, const std::pair<const int, std::size_t>& packet) {
                                         return sum + packet.second;
                                     });
}

} // namespace pdactl
