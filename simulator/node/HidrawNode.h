#pragma once

#include "DeviceDescription.h"
#include "ServingLoop.h"
#include "TerminalPort.h"
#include "node/FileDescriptor.h"

#include <cstddef>
#include <deque>
#include <map>
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

/// The file that clients really open behind a node, so that poll(2) works on it.
///
/// It is a pseudo-terminal that carries no data: one byte in it makes the node readable, an empty one does
/// not, and closing the master hangs the node up for everybody who still has it open. (Unlike a real hidraw
/// file it then keeps reporting POLLIN beside POLLERR and POLLHUP; the next read gives the error all the
/// same.)
class Doorbell {
public:
    Doorbell();

    /// The path that a node has to lead to.
    const std::string& path() const { return m_path; }

    /// Makes the node readable.
    void ring();
    /// Makes the node unreadable again.
    void silence();
    void hangUp();

private:
    FileDescriptor m_master;
    FileDescriptor m_slave;
    std::string m_path;
};

/// One plugged-in life of a hidraw node: the open files on it and the reports on their way to them.
///
/// All open files share one doorbell: while one of them has unread reports, poll(2) calls all of them
/// readable.
///
/// Every call needs the loop's lock.
class HidrawNode {
public:
    using Clock = ServingLoop::Clock;
    /// Whatever the file is to whoever opens it.
    using FileId = const void*;

    HidrawNode(ServingLoop& loop, NodeOwner& owner, DeviceDescription description);

    void opened(FileId file);
    void closed(FileId file);
    ReadResult read(FileId file, std::size_t count);
    int writeError(FileId file, std::size_t count) const;
    /// Null once the device is gone.
    NodeOwner* owner() const { return m_owner; }
    const DeviceDescription& description() const { return m_description; }

    /// Reports for every open file: each as soon as all of them have room for it, or when a bus of full speed
    /// has brought it. A file that has not been read by then loses it, as in the kernel. Without an open file
    /// nobody fetches them: they are lost.
    void send(const std::vector<std::string>& reports);
    void unplug();
    /// Tells everybody who waits that the device is gone. Comes after the device has left the system.
    void hangUp() { m_bell.hangUp(); }

    const std::string& filePath() const { return m_bell.path(); }
    std::size_t openFiles() const { return m_files.size(); }
    std::size_t lostReports() const;

    /// While it is set, the path leads nowhere and connections belong to failed attempts to open.
    void setRefusesOpening(bool refuses) { m_refusesOpening = refuses; }
    bool refusesOpening() const { return m_refusesOpening; }

private:
    bool anybodyReads() const;
    void update();
    void transfer();
    void deliverHeld();
    void deliverFirst(Clock::time_point transferBegin);
    void updateBell();

    ServingLoop& m_loop;
    NodeOwner* m_owner;
    DeviceDescription m_description;
    Doorbell m_bell;
    bool m_rung = false;
    bool m_refusesOpening = false;
    std::map<FileId, HidrawQueue> m_files;
    std::deque<std::string> m_held;
    Clock::time_point m_nextTransfer;
    std::size_t m_lostUnread = 0;
};

} // namespace pdasim
