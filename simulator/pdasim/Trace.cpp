#include "pdasim/Trace.h"

#include "AdvisedError.h"
#include "Clock.h"
#include "core/Traffic.h"
#include "node/FileDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace pdasim {

namespace {

/// Keys and passwords are nobody else's business: a file that is there already is closed to others, too.
std::FILE* openPrivately(const std::string& path) {
    FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR));
    struct stat information {};
    if (!file.isOpen() || ::fstat(file.get(), &information) != 0) {
        return nullptr;
    }
    if (S_ISREG(information.st_mode) &&
        (::fchmod(file.get(), information.st_mode & S_IRWXU) != 0 || ::ftruncate(file.get(), 0) != 0)) {
        return nullptr;
    }
    std::FILE* stream = ::fdopen(file.get(), "w");
    if (stream != nullptr) {
        (void)file.release();
    }
    return stream;
}

} // namespace

Trace::Trace(const std::string& path) : m_file(stderr) {
    if (path != "-") {
        m_owned.reset(openPrivately(path));
        m_file = m_owned.get();
    }
    if (m_file == nullptr) {
        throw AdvisedError(
            errno, "cannot write the trace to " + path,
            "Give --trace a path in a folder that is there and that you may write to, or \"-\"");
    }
}

void Trace::write(SimulatedTerminal::Direction direction, const std::string& text) {
    const bool fromHost = direction == SimulatedTerminal::Direction::FromHost;
    const std::string line = timeOfDay() + (fromHost ? "  host -> terminal  " : "  terminal -> host  ") +
                             describeMessage(text, fromHost ? Sender::Host : Sender::Terminal) + "\n";
    (void)std::fputs(line.c_str(), m_file);
    (void)std::fflush(m_file);
}

} // namespace pdasim
