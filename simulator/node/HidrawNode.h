#pragma once

#include "DeviceDescription.h"
#include "ServingLoop.h"
#include "TerminalPort.h"
#include "node/FileDescriptor.h"
#include "node/HidrawQueue.h"

#include <cstddef>
#include <deque>
#include <map>
#include <string>
#include <vector>

namespace pdasim {

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
