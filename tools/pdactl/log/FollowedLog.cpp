#include "log/FollowedLog.h"

#include "log/LogFiles.h"

#include <utility>

namespace pdactl::log {

namespace {

constexpr int kNowhere = -1;

std::unique_ptr<QFile> opened(const std::string& path) {
    auto file = std::make_unique<QFile>(QString::fromStdString(path));
    return file->open(QIODevice::ReadOnly | QIODevice::Unbuffered) ? std::move(file) : nullptr;
}

} // namespace

FollowedLog::FollowedLog(std::string base, From from) : m_base(std::move(base)) {
    if (from == From::End) {
        m_file = opened(m_base);
        if (m_file != nullptr) {
            (void)m_file->seek(m_file->size());
        }
    }
}

Growth FollowedLog::grow() {
    Growth growth;
    if (m_file == nullptr && !openOldest()) {
        return growth;
    }
    if (m_file->size() < m_file->pos()) { // emptied
        (void)m_file->seek(0);
        growth.hasGap = true;
    }
    for (;;) {
        growth.bytes += m_file->readAll().toStdString();
        const int number = ownNumber();
        if (number == 0) {
            return growth;
        }
        // Nobody writes to a file that has been renamed: its rest can be read before the next one is opened.
        growth.bytes += m_file->readAll().toStdString();
        const bool isLost = number == kNowhere;
        if ((isLost && !growth.bytes.empty()) || !goOnAfter(number)) {
            return growth; // a gap is told with what follows it
        }
        growth.hasGap = growth.hasGap || isLost;
    }
}

/// Opens the file that was begun when the present one was rotated; false when that has to wait.
bool FollowedLog::goOnAfter(int number) {
    std::unique_ptr<QFile> previous = std::move(m_file);
    const bool isOpen =
        number == kNowhere ? openOldest() : (m_file = opened(copyName(m_base, number - 1))) != nullptr;
    std::swap(previous, m_file);
    if (!isOpen || ownNumber() != number) { // rotated once more in between
        return false;
    }
    m_file = std::move(previous);
    return true;
}

/// Which copy the open file is by now; 0 for the log itself, -1 when it has gone.
int FollowedLog::ownNumber() const {
    for (int number = 0; number <= kMaxCopies; ++number) {
        if (isNamed(*m_file, copyName(m_base, number))) {
            return number;
        }
    }
    return kNowhere;
}

/// Leaves it to the next look when the log is rotated meanwhile.
bool FollowedLog::openOldest() {
    const int number = oldestCopy(m_base);
    m_file = opened(copyName(m_base, number));
    if (m_file != nullptr && (oldestCopy(m_base) != number || ownNumber() != number)) {
        m_file = nullptr;
    }
    return m_file != nullptr;
}

} // namespace pdactl::log
