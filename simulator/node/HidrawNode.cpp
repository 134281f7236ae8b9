#include "node/HidrawNode.h"

#include <algorithm>
#include <cerrno>

namespace pdasim {

namespace {

/** What a bus of full speed takes for a report: a packet of 64 bytes at most each millisecond. */
HidrawNode::Clock::duration transferTime(const std::string& report) {
    constexpr std::size_t Packet = 64;
    return std::chrono::milliseconds((report.size() + Packet - 1) / Packet);
}

/** A read through another process takes longer than the kernel's, above all on a busy machine: a reader who
 * is that late has not stopped reading yet. */
constexpr std::chrono::milliseconds Patience(200);

} // namespace

HidrawNode::HidrawNode(NodeOwner& owner, DeviceDescription description)
    : m_owner(&owner), m_description(std::move(description)) {
}

void HidrawNode::opened(FileId file) {
    m_files.emplace(file, HidrawQueue());
    if (m_owner != nullptr) {
        m_owner->hostOpened();
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
    deliverHeld();
    updateBell();
}

ReadResult HidrawNode::read(FileId file, std::size_t count) {
    ReadResult result = m_files.at(file).read(count);
    if (result.error == 0) {
        deliverHeld();
    }
    updateBell();
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
    deliverHeld();
    updateBell();
}

std::optional<HidrawNode::Clock::time_point> HidrawNode::nextTransfer() const {
    if (m_held.empty()) {
        return std::nullopt;
    }
    const bool anybodyReads =
        std::any_of(m_files.begin(), m_files.end(), [](const auto& entry) { return entry.second.hasRoom(); });
    return anybodyReads ? m_nextTransfer : m_nextTransfer + Patience;
}

bool HidrawNode::transferDue() {
    const auto due = nextTransfer();
    if (!due || Clock::now() < *due) {
        return false;
    }
    deliverFirst(m_nextTransfer);
    deliverHeld();
    updateBell();
    return true;
}

void HidrawNode::unplug() {
    m_owner = nullptr;
    m_lostUnread += m_held.size();
    m_held.clear();
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
        std::min(transferBegin + time, Clock::now() + static_cast<int>(hidraw::QueueLength) * time);
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
