#include "pdasim/Trace.h"

#include "control/Clock.h"
#include "core/Traffic.h"

#include <cerrno>
#include <system_error>

namespace pdasim {

Trace::Trace(const std::string& path) : m_file(stderr) {
    if (path != "-") {
        m_owned.reset(std::fopen(path.c_str(), "we"));
        m_file = m_owned.get();
    }
    if (m_file == nullptr) {
        throw std::system_error(errno, std::generic_category(), "cannot write the trace to " + path);
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
