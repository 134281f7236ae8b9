#include "file/TransferRecord.h"

#include "log/Exchange.h"
#include "log/Traffic.h"

#include <numeric>
#include <utility>

namespace pdactl {

TransferRecord::TransferRecord(std::string type) : m_type(std::move(type)) {
}

void TransferRecord::add(std::string_view logged) {
    take(m_reader.feed(logged));
}

void TransferRecord::finish() {
    take(m_reader.finish());
}

void TransferRecord::take(const std::vector<log::Entry>& entries) {
    for (const log::Entry& entry : entries) {
        const log::TrafficLine line = log::trafficLine(entry.text);
        if (line.kind == log::LineKind::Read) {
            takeReply(log::payloadOf(entry.text, line));
        }
    }
}

void TransferRecord::takeReply(std::string_view reply) {
    if (log::typeOf(reply) != m_type) {
        return;
    }
    const std::string_view resultCode = log::tagValue(reply, "Ex_RetCode");
    if (resultCode != log::kAccepted) {
        firstRefusal = refused == 0 ? std::string(resultCode) : firstRefusal;
        ++refused;
        return;
    }
    ++accepted;
    if (!log::tagValue(reply, "Ex_CurPkt").empty()) {
        total = static_cast<int>(log::numberIn(reply, "Ex_TotalPkt"));
        const auto number = static_cast<int>(log::numberIn(reply, "Ex_CurPkt"));
        m_digits[number] = log::tagValue(reply, "Ex_HexVal").size();
    }
}

bool TransferRecord::hasWhole(std::size_t digits) const {
    const bool hasAll = total > 0 && m_digits.size() == static_cast<std::size_t>(total) &&
                        m_digits.begin()->first == 0 && m_digits.rbegin()->first == total - 1;
    return hasAll &&
           digits == std::accumulate(m_digits.begin(), m_digits.end(), std::size_t{0},
                                     [](std::size_t sum, const std::pair<const int, std::size_t>& packet) {
                                         return sum + packet.second;
                                     });
}

} // namespace pdactl
