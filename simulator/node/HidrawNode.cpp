#include "node/HidrawNode.h"

#include <fcntl.h>
#include <sys/uio.h>
#include <termios.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>

namespace pdasim {

namespace {

/// What a bus of full speed takes for a report: a packet of 64 bytes at most each millisecond.
HidrawNode::Clock::duration transferTime(const std::string& report) {
    constexpr std::size_t kPacket = 64;
    return std::chrono::milliseconds((report.size() + kPacket - 1) / kPacket);
}

/// A read through another process takes longer than the kernel's, above all on a busy machine: a reader who
/// is that late has not stopped reading yet.
constexpr std::chrono::milliseconds kPatience(200);

} // namespace

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

Doorbell::Doorbell() {
    // Close-on-exec matters: a child that inherited the master would keep the node from ever hanging up.
    m_master.reset(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK));
    std::array<char, 64> name{};
    if (!m_master.isOpen() || ::grantpt(m_master.get()) != 0 || ::unlockpt(m_master.get()) != 0 ||
        ::ptsname_r(m_master.get(), name.data(), name.size()) != 0) {
        throwSystemError("cannot open a pseudo-terminal");
    }
    m_path = name.data();
    m_slave.reset(::open(m_path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK));
    termios settings{};
    if (!m_slave.isOpen() || ::tcgetattr(m_slave.get(), &settings) != 0) {
        throwSystemError("cannot set a pseudo-terminal up");
    }
    ::cfmakeraw(&settings);
    if (::tcsetattr(m_slave.get(), TCSANOW, &settings) != 0) {
        throwSystemError("cannot set a pseudo-terminal up");
    }
}

void Doorbell::ring() {
    std::array<char, 1> byte = {'!'};
    const iovec piece = {byte.data(), byte.size()};
    // writev instead of write: the test bed's wrapper of write looks every descriptor up.
    if (::writev(m_master.get(), &piece, 1) != 1 && errno != EAGAIN) {
        throwSystemError("cannot make the node readable");
    }
}

void Doorbell::silence() {
    (void)::tcflush(m_slave.get(), TCIFLUSH);
}

void Doorbell::hangUp() {
    m_master.reset();
    m_slave.reset();
}

HidrawNode::HidrawNode(ServingLoop& loop, NodeOwner& owner, DeviceDescription description)
    : m_loop(loop), m_owner(&owner), m_description(std::move(description)) {
}

void HidrawNode::opened(FileId file) {
    m_files.emplace(file, HidrawQueue());
    if (m_owner != nullptr) {
        m_owner->hostOpened();
        update();
    } else {
        m_files.at(file).unplug();
    }
}

void HidrawNode::closed(FileId file) {
    const auto found = m_files.find(file);
    if (found == m_files.end()) {
        return;
    }
    m_lostUnread += found->second.lostReports();
    m_files.erase(found);
    if (m_files.empty()) {
        m_lostUnread += m_held.size();
        m_held.clear();
    }
    update();
}

ReadResult HidrawNode::read(FileId file, std::size_t count) {
    ReadResult result = m_files.at(file).read(count);
    update();
    return result;
}

int HidrawNode::writeError(FileId file, std::size_t count) const {
    return m_files.at(file).writeError(count);
}

void HidrawNode::send(const std::vector<std::string>& reports) {
    if (m_owner == nullptr || m_files.empty()) {
        m_lostUnread += reports.size();
        return;
    }
    m_held.insert(m_held.end(), reports.begin(), reports.end());
    update();
}

bool HidrawNode::anybodyReads() const {
    return std::any_of(m_files.begin(), m_files.end(),
                       [](const auto& entry) { return entry.second.hasRoom(); });
}

void HidrawNode::update() {
    deliverHeld();
    updateBell();
    m_loop.cancel(this);
    if (!m_held.empty()) {
        m_loop.schedule(this, anybodyReads() ? m_nextTransfer : m_nextTransfer + kPatience,
                        [this] { transfer(); });
    }
}

/// The bus brings the next report, whoever has room for it.
void HidrawNode::transfer() {
    const auto now = Clock::now();
    if (anybodyReads()) {
        // A bus that is late does not catch up: a burst would be more than a reader can take.
        m_nextTransfer = std::max(m_nextTransfer, now);
    } else if (now > m_nextTransfer + 2 * kPatience) {
        // This thread was late itself, so the readers had no chance: they get their time once more.
        m_nextTransfer = now;
        update();
        return;
    }
    deliverFirst(m_nextTransfer);
    update();
}

void HidrawNode::unplug() {
    m_owner = nullptr;
    m_lostUnread += m_held.size();
    m_held.clear();
    m_loop.cancel(this);
    for (auto& [file, queue] : m_files) {
        queue.unplug();
    }
}

std::size_t HidrawNode::lostReports() const {
    std::size_t lost = m_lostUnread;
    for (const auto& [file, queue] : m_files) {
        lost += queue.lostReports();
    }
    return lost;
}

void HidrawNode::deliverHeld() {
    const auto hasRoom = [](const auto& entry) { return entry.second.hasRoom(); };
    while (!m_held.empty() && std::all_of(m_files.begin(), m_files.end(), hasRoom)) {
        deliverFirst(std::max(m_nextTransfer, Clock::now()));
    }
}

void HidrawNode::deliverFirst(Clock::time_point transferBegin) {
    for (auto& [file, queue] : m_files) {
        queue.push(m_held.front());
    }
    // What comes early gives the readers more time, but no more than what they can have unread.
    const auto time = transferTime(m_held.front());
    m_nextTransfer =
        std::min(transferBegin + time, Clock::now() + static_cast<int>(hidraw::kQueueLength) * time);
    m_held.pop_front();
}

void HidrawNode::updateBell() {
    if (m_owner == nullptr) {
        // Hanging up makes the node readable for good.
        return;
    }
    const bool unread = std::any_of(m_files.begin(), m_files.end(),
                                    [](const auto& entry) { return !entry.second.isEmpty(); });
    if (!unread) {
        // Every time, not only after ringing: the kernel passes a ring on in its own time, even after the
        // report it stood for has been read, and a bell left ringing would make the reader spin.
        m_bell.silence();
    } else if (!m_rung) {
        m_bell.ring();
    }
    m_rung = unread;
}

} // namespace pdasim
