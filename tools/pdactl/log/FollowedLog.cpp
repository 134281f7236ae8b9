#include "log/FollowedLog.h"

#include "log/LogFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <utility>

namespace pdactl::log {

namespace {

constexpr int Nowhere = -1;

} // namespace

FollowedLog::FollowedLog(std::string base) : m_base(std::move(base)) {
}

FollowedLog::~FollowedLog() {
    adopt(Nowhere);
}

Growth FollowedLog::grow() {
    Growth growth;
    if (m_descriptor == Nowhere && !openOldest()) {
        return growth;
    }
    growth.bytes = readRest();
    const int number = ownNumber();
    if (!growth.bytes.empty() || number == 0) {
        if (growth.bytes.empty() && wasCut()) {
            (void)::lseek(m_descriptor, 0, SEEK_SET);
            growth.hasGap = true;
        }
        return growth;
    }
    // Nobody writes to a file that has been renamed: its rest can be read before the next one is opened.
    growth.bytes = readRest();
    const int previous = m_descriptor;
    m_descriptor = Nowhere;
    if (!(number == Nowhere ? openOldest() : openNumber(number - 1))) {
        m_descriptor = previous;
        return growth;
    }
    const int next = std::exchange(m_descriptor, previous);
    if (ownNumber() != number) {
        (void)::close(next); // rotated once more in between
        return growth;
    }
    adopt(next);
    growth.hasGap = number == Nowhere;
    return growth;
}

std::string FollowedLog::readRest() {
    std::string bytes;
    std::array<char, 65536> buffer{};
    for (ssize_t count = 1; count > 0;) {
        count = ::read(m_descriptor, buffer.data(), buffer.size());
        if (count > 0) {
            bytes.append(buffer.data(), static_cast<std::size_t>(count));
        }
    }
    return bytes;
}

/** Which copy the open file is by now; 0 for the log itself, -1 when it has gone. */
int FollowedLog::ownNumber() const {
    struct stat own {};
    if (::fstat(m_descriptor, &own) != 0) {
        return Nowhere;
    }
    for (int number = 0; number <= MostCopies; ++number) {
        struct stat named {};
        if (::stat(copyName(m_base, number).c_str(), &named) == 0 && named.st_ino == own.st_ino &&
            named.st_dev == own.st_dev) {
            return number;
        }
    }
    return Nowhere;
}

int FollowedLog::oldestNumber() const {
    for (int number = MostCopies; number > 0; --number) {
        if (::access(copyName(m_base, number).c_str(), F_OK) == 0) {
            return number;
        }
    }
    return 0;
}

bool FollowedLog::openNumber(int number) {
    const int descriptor = ::open(copyName(m_base, number).c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor >= 0) {
        adopt(descriptor);
    }
    return descriptor >= 0;
}

/** Leaves it to the next look when the log is rotated meanwhile. */
bool FollowedLog::openOldest() {
    const int number = oldestNumber();
    if (!openNumber(number)) {
        return false;
    }
    if (oldestNumber() == number && ownNumber() == number) {
        return true;
    }
    adopt(Nowhere);
    return false;
}

void FollowedLog::adopt(int descriptor) {
    if (m_descriptor != Nowhere) {
        (void)::close(m_descriptor);
    }
    m_descriptor = descriptor;
}

bool FollowedLog::wasCut() const {
    struct stat own {};
    return ::fstat(m_descriptor, &own) == 0 && own.st_size < ::lseek(m_descriptor, 0, SEEK_CUR);
}

} // namespace pdactl::log
