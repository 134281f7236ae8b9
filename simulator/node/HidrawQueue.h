#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace pdasim {

/// What the kernel's hidraw driver allows, as its clients see it.
namespace hidraw {
constexpr std::size_t kMinWrite = 2;
constexpr std::size_t kMaxWrite = 16384;
/// Unread reports that an open file holds; what comes beyond is lost.
constexpr std::size_t kQueueLength = 63;
constexpr std::size_t kDefaultReportSize = 64;
} // namespace hidraw

/// How a read ends: with a report, or with an errno.
struct ReadResult {
    int error = 0;
    std::string report;
};

/// The kernel's side of one open hidraw file: what it queues, and how its reads and writes end.
class HidrawQueue {
public:
    bool hasRoom() const { return m_reports.size() < hidraw::kQueueLength; }
    bool isEmpty() const { return m_reports.empty(); }

    /// A report from the device. Without room it is lost and only counted.
    void push(std::string_view report);

    /// One report at most, never two merged; what does not fit into `count` bytes is gone.
    ReadResult read(std::size_t count);

    /// The errno with which a write of that many bytes fails before the device sees it, or 0.
    int writeError(std::size_t count) const;

    /// The device is gone: what is queued can still be read, then every read and write fails.
    void unplug() { m_unplugged = true; }

    std::size_t lostReports() const { return m_lost; }

private:
    std::deque<std::string> m_reports;
    bool m_unplugged = false;
    std::size_t m_lost = 0;
};

/// The reports that carry a text: each of `reportSize` bytes, the last one padded with NUL.
std::vector<std::string> cutIntoReports(std::string_view text, std::size_t reportSize);

} // namespace pdasim
