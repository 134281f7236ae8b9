#include "node/HidrawQueue.h"

#include <cerrno>

namespace pdasim {

void HidrawQueue::push(std::string_view report) {
    if (!hasRoom()) {
        ++m_lost;
        return;
    }
    m_reports.emplace_back(report);
}

ReadResult HidrawQueue::read(std::size_t count) {
    if (m_reports.empty()) {
        return {m_unplugged ? EIO : EAGAIN, {}};
    }
    ReadResult result{0, std::move(m_reports.front())};
    m_reports.pop_front();
    if (result.report.size() > count) {
        result.report.resize(count);
    }
    return result;
}

int HidrawQueue::writeError(std::size_t count) const {
    if (m_unplugged) {
        return ENODEV;
    }
    return count < hidraw::kMinWrite || count > hidraw::kMaxWrite ? EINVAL : 0;
}

std::vector<std::string> cutIntoReports(std::string_view text, std::size_t reportSize) {
    std::vector<std::string> reports;
    for (std::size_t begin = 0; begin < text.size(); begin += reportSize) {
        std::string report(text.substr(begin, reportSize));
        report.resize(reportSize, '\0');
        reports.push_back(std::move(report));
    }
    return reports;
}

} // namespace pdasim
